// A text, and the entries made from it and by later changes.
#pragma once

#include "config/changed_memory.h"
#include "config/entry.h"
#include "config/line_index.h"
#include "config/source_text.h"
#include "core/invariant.h"

#include <cstddef>
#include <memory_resource>
#include <optional>
#include <string_view>
#include <variant>

namespace qz::config {

// The values of entries. An empty block can only be inserted.
struct EmptyBlock {};
struct Value : std::variant<EmptyBlock, int, double, std::string_view> {
    using variant::variant;
};

// Whether a text is short enough for a name or a value, and whether a value is.
bool fits(std::string_view text);
bool valueFits(const Value& value);

class Tree {
public:
    Tree() { clear(); }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    // Both remove all entries.
    void clear() { setSource({}); }
    void setSource(SourceText source);

    const SourceText& sourceText() const { return source_; }
    int lineOf(const Place& place) const { return lines_.lineOf(source_, place.offset); }
    std::string_view source() const { return source_.view(); }
    NamedEntry& root() { return root_; } // a block without a name
    const NamedEntry& root() const { return root_; }

    // Erased entries of the text. They are linked by `next`; `previous` is the list that each was
    // in. They take no memory of their own, so erasing never fails.
    const Entry* erased() const { return erased_; }

    // For the parser: entries and characters in memory that lives as long as the text. The name
    // stands in the text.
    Entry& makeOriginal();
    NamedEntry& makeOriginal(std::string_view name);
    char* makeOriginalChars(std::size_t count);

    // Changes. If memory runs out, they throw and have changed nothing.
    //
    // A new entry before another or, if `before` is null, at the end. It has a name in a block and
    // none in a list.
    Entry& insert(Entry& list, Entry* before, std::optional<std::string_view> name,
                  const Value& value);
    void rename(NamedEntry& entry, std::string_view name);
    void erase(Entry& list, Entry& entry);

    // Replaces the value of an entry that is no block. An equal value is no change.
    void set(Entry& entry, const Value& value);

private:
    void setOne(Entry& entry, EmptyBlock);
    void setOne(Entry& entry, int value);
    void setOne(Entry& entry, double value);
    void setOne(Entry& entry, std::string_view value);
    char* copyChars(std::string_view chars);
    void dropValue(Entry& entry);
    void release(EntryList entries);
    void releaseOne(Entry& entry);
    void check(const Entry& entry);

    SourceText source_;
    LineIndex lines_;
    std::pmr::monotonic_buffer_resource parsed_;
    // Gives back what a change replaces, so that a tree that is changed for ever does not grow.
    ChangedMemory changed_;
    Entry* erased_ = nullptr;
    NamedEntry root_;
    core::NowAndThen checkOfAll_;
};

} // namespace qz::config

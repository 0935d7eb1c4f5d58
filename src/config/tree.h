// A text and the entries that it and later changes have made.
#pragma once

#include "config/entry.h"
#include "config/source_text.h"

#include <cstddef>
#include <memory_resource>
#include <string_view>
#include <vector>

namespace qz::config {

class Tree {
public:
    // Where an entry of the text has been erased from its list.
    struct Erased {
        const Entry* list;
        Place place;
    };

    Tree() { clear(); }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    // Both leave no entries.
    void clear() { setSource({}); }
    void setSource(SourceText source);

    const SourceText& sourceText() const { return source_; }
    std::string_view source() const { return source_.view(); }
    NamedEntry& root() { return root_; } // a block without a name
    const NamedEntry& root() const { return root_; }
    const std::vector<Erased>& erased() const { return erased_; }

    // For the parser: entries of the text, and characters, in memory that lives as long as they.
    // The name stands in the text.
    Entry& makeOriginal();
    NamedEntry& makeOriginal(std::string_view name);
    char* makeOriginalChars(std::size_t count);

    // For changes: entries without a value that stand in no list yet.
    Entry& make();
    NamedEntry& make(std::string_view name);

    // Replace the value of an entry that is no block. What is equal is no change.
    void setInteger(Entry& entry, int value);
    void setReal(Entry& entry, double value);
    void setText(Entry& entry, std::string_view value);
    void rename(NamedEntry& entry, std::string_view name);

    void insert(Entry& list, Entry* before, Entry& entry);
    void erase(Entry& list, Entry& entry);

private:
    char* copyChars(std::string_view chars);
    void releaseChars(const char* chars, std::size_t count);
    void dropValue(Entry& entry);
    void release(EntryList entries);
    void releaseOne(Entry& entry);

    SourceText source_;
    std::pmr::monotonic_buffer_resource parsed_;
    // Gives back what a change replaces, so that a tree that is changed for ever does not grow.
    std::pmr::unsynchronized_pool_resource changed_;
    std::vector<Erased> erased_;
    NamedEntry root_;
};

} // namespace qz::config

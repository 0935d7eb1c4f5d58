// What a tree is made of: entries in doubly linked lists.
#pragma once

#include "Config/ConfigParser.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qz::config {

using Type = ConfigParser::iterator::Type;

// How deep braces may be nested: matching and saving recurse that deep.
inline constexpr int kMaxDepth = 256;

// A stretch of the text that was parsed.
struct Place {
    std::uint32_t offset = 0;
    std::uint32_t length = 0;

    std::uint32_t end() const { return offset + length; }
};

struct Entry;

// Owns nothing. The first entry's `previous` is the last one, the last one's `next` is null.
struct EntryList {
    Entry* first;

    Entry* last() const;
    void insert(Entry* before, Entry& entry); // at the end if `before` is null
    void append(Entry& entry) { insert(nullptr, entry); }
    void remove(Entry& entry);
    void endWith(Entry* newLast); // drops the entries behind it; all if it is null
};

// An item without a name, or a NamedEntry if `isNamed`. It needs no destructor: trees have millions
// of entries, and free them with their memory.
struct Entry {
    Entry* next;
    Entry* previous;
    union {
        int integer;
        double real;
        const char* chars; // not terminated
        EntryList entries; // of a block or list
    };
    std::uint32_t charCount;
    Place place; // all of it, with its semicolon or closing brace
    Type type : 8;
    bool isNamed : 1;
    bool isOriginal : 1; // stands in the text, at `place`
    bool isValueChanged : 1;
    bool isNameChanged : 1;
    bool areEntriesChanged : 1;
    bool ownsChars : 1; // in memory of their own, which has to be released
    bool ownsName : 1;

    std::string_view text() const { return {chars, charCount}; }
    bool holdsEntries() const { return type == Type::kBlock || type == Type::kList; }
    std::string_view name() const;
};

struct NamedEntry : Entry {
    const char* nameChars;
    std::uint32_t nameLength;
    Place valuePlace; // of an assignment
};

inline std::string_view Entry::name() const {
    if (!isNamed) {
        return {};
    }
    const auto& named = static_cast<const NamedEntry&>(*this);
    return {named.nameChars, named.nameLength};
}

// Where the value of an assignment or an item stands; for a block, where the block stands.
inline Place valuePlaceOf(const Entry& entry) {
    const bool isAssignment = entry.isNamed && entry.type != Type::kBlock;
    return isAssignment ? static_cast<const NamedEntry&>(entry).valuePlace : entry.place;
}

inline std::size_t closingBraceOf(const Entry& list) {
    return valuePlaceOf(list).end() - 1;
}

inline Entry* EntryList::last() const {
    return first == nullptr ? nullptr : first->previous;
}

inline void EntryList::insert(Entry* before, Entry& entry) {
    entry.next = before;
    if (first == nullptr) {
        entry.previous = &entry;
        first = &entry;
        return;
    }
    Entry* const after = before == nullptr ? first : before;
    entry.previous = after->previous;
    after->previous = &entry;
    if (before == first) {
        first = &entry;
    } else {
        entry.previous->next = &entry;
    }
}

inline void EntryList::remove(Entry& entry) {
    Entry* const next = entry.next;
    if (first == &entry) {
        first = next;
    } else {
        entry.previous->next = next;
    }
    if (next != nullptr) {
        next->previous = entry.previous;
    } else if (first != nullptr) {
        first->previous = entry.previous;
    }
}

inline void EntryList::endWith(Entry* newLast) {
    if (newLast == nullptr) {
        first = nullptr;
    } else {
        newLast->next = nullptr;
        first->previous = newLast;
    }
}

} // namespace qz::config

// The invariants of a tree.
#pragma once

#include "config/entry.h"
#include "core/invariant.h"

#include <cstddef>

namespace qz::config {

// Of what an entry says of itself.
inline void checkEntry(const Entry& entry) {
    using core::invariant;
    using enum ConfigParser::iterator::Type;
    invariant(entry.holdsEntries() || entry.type == kInteger || entry.type == kReal ||
                  entry.type == kString,
              "configuration tree: an entry without a value");
    invariant(!entry.ownsChars || entry.type == kString,
              "configuration tree: characters without a string");
    invariant(entry.isNamed || (!entry.ownsName && !entry.isNameChanged),
              "configuration tree: the name of a nameless entry");
}

// Of an entry and those beside it in its list.
inline void checkLinks(const Entry& list, const Entry& entry) {
    using core::invariant;
    const Entry* const first = list.entries.first;
    const Entry* const behind = entry.next == nullptr ? first : entry.next;
    invariant(first != nullptr && first->previous->next == nullptr,
              "configuration tree: the end of a list is not known");
    invariant(behind != nullptr && behind->previous == &entry,
              "configuration tree: a list is broken backwards");
    invariant(&entry == first || entry.previous->next == &entry,
              "configuration tree: a list is broken forwards");
    invariant(entry.isNamed == (list.type == ConfigParser::iterator::kBlock),
              "configuration tree: a nameless entry in a block, or a named one in a list");
}

// Of everything below an entry, down to a depth that the stack has room for; returns how many there
// are.
inline std::size_t checkBelow(const Entry& list, int depth = 0) {
    std::size_t count = 0;
    for (const Entry* entry = list.entries.first; entry != nullptr; entry = entry->next) {
        checkEntry(*entry);
        checkLinks(list, *entry);
        ++count;
        if (entry->holdsEntries() && depth < kMaxDepth) {
            count += checkBelow(*entry, depth + 1);
        }
    }
    return count;
}

} // namespace qz::config

// Entries by their paths: "graphics.colors.0.2".
#pragma once

#include "config/lexical_tokens.h"
#include "config/tree.h"

#include <string_view>

namespace qz::config {

// An entry and the list that it is in; both are null if there is none.
struct FoundEntry {
    Entry* list;
    Entry* entry;
};

// The first of that name in a block, or null.
Entry* findName(const Entry& block, std::string_view name);

// Finds nothing unless `from` is a block or list.
FoundEntry findPath(Entry& from, std::string_view path);

// Sets an entry's value, and adds what is missing of the path. False if the entry is a block or
// cannot be added; throws what the tree throws. In both cases nothing is changed.
bool setPath(Tree& tree, const IdentifierToken& names, std::string_view path, const Value& value);

} // namespace qz::config

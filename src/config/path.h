// Entries by their paths: "graphics.colors.0.2".
#pragma once

#include "config/lexical_tokens.h"
#include "config/tree.h"

#include <string_view>

namespace qz::config {

// An entry and the list that it is in; null both if there is none.
struct FoundEntry {
    Entry* list;
    Entry* entry;
};

// The first of that name in a block, or null.
Entry* findName(const Entry& block, std::string_view name);

// Begins in a block or list; elsewhere there is nothing.
FoundEntry findPath(Entry& from, std::string_view path);

// Sets an entry, and adds what is missing of it. False if it is a block or cannot be added; throws
// what the tree throws. Nothing is changed then.
bool setPath(Tree& tree, const IdentifierToken& names, std::string_view path, const Value& value);

} // namespace qz::config

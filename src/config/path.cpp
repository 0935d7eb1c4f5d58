#include "config/path.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <optional>

namespace qz::config {

namespace {

// The parts of a path that are left; none behind the last one.
using Rest = std::optional<std::string_view>;

std::string_view takePart(Rest& rest) {
    const std::size_t dot = rest->find('.');
    const std::string_view part = rest->substr(0, dot);
    rest = dot == std::string_view::npos ? std::nullopt : Rest(rest->substr(dot + 1));
    return part;
}

std::optional<std::size_t> numberIn(std::string_view part) {
    std::size_t number = 0;
    const char* const end = part.data() + part.size();
    const auto [read, error] = std::from_chars(part.data(), end, number);
    return read == end && error == std::errc{} ? std::optional(number) : std::nullopt;
}

Entry* itemAt(const Entry& list, std::size_t number) {
    Entry* item = list.entries.first;
    for (; item != nullptr && number > 0; --number) {
        item = item->next;
    }
    return item;
}

Entry* findPart(const Entry& list, std::string_view part) {
    if (list.type == Type::kBlock) {
        return findName(list, part);
    }
    const auto number = list.type == Type::kList ? numberIn(part) : std::nullopt;
    return number ? itemAt(list, *number) : nullptr;
}

// Follows a path as far as it leads.
struct Walk {
    Walk(Entry& from, std::string_view path) : list(&from), rest(path) {
        step();
        while (entry != nullptr && rest) {
            list = entry;
            step();
        }
    }

    void step() {
        part = takePart(rest);
        entry = findPart(*list, part);
    }

    Entry* list;            // the last one that was searched
    std::string_view part;  // the part that was searched for in it
    Entry* entry = nullptr; // null if it is missing
    Rest rest;
};

bool areNames(std::string_view path, const IdentifierToken& names) {
    Rest rest = path;
    while (rest) {
        if (!names.matchesAllOf(takePart(rest))) {
            return false;
        }
    }
    return true;
}

std::size_t countItems(const Entry& list) {
    std::size_t count = 0;
    for (const Entry* item = list.entries.first; item != nullptr; item = item->next) {
        ++count;
    }
    return count;
}

// Each dot stands for a block or list around the parts behind it.
bool isTooDeep(std::string_view path) {
    return std::count(path.begin(), path.end(), '.') > kMaxDepth;
}

bool canAdd(const Walk& walk, std::string_view path, const IdentifierToken& names) {
    if (isTooDeep(path)) {
        return false;
    }
    if (walk.list->type == Type::kList) {
        return !walk.rest && numberIn(walk.part) == countItems(*walk.list);
    }
    const auto known = static_cast<std::size_t>(walk.part.data() - path.data());
    return walk.list->type == Type::kBlock && areNames(path.substr(known), names);
}

// Adds an entry, with the blocks that are missing around it.
void addNamed(Tree& tree, Entry& list, std::string_view part, Rest rest, const Value& value) {
    Entry& first = tree.insert(list, nullptr, part, rest ? Value(EmptyBlock{}) : value);
    try {
        for (Entry* block = &first; rest;) {
            part = takePart(rest);
            block = &tree.insert(*block, nullptr, part, rest ? Value(EmptyBlock{}) : value);
        }
    } catch (...) {
        tree.erase(list, first);
        throw;
    }
}

void add(Tree& tree, const Walk& walk, const Value& value) {
    if (walk.list->type == Type::kList) {
        tree.insert(*walk.list, nullptr, std::nullopt, value);
    } else {
        addNamed(tree, *walk.list, walk.part, walk.rest, value);
    }
}

} // namespace

Entry* findName(const Entry& block, std::string_view name) {
    Entry* entry = block.entries.first;
    while (entry != nullptr && entry->name() != name) {
        entry = entry->next;
    }
    return entry;
}

FoundEntry findPath(Entry& from, std::string_view path) {
    const Walk walk(from, path);
    return walk.entry == nullptr ? FoundEntry{} : FoundEntry{walk.list, walk.entry};
}

bool setPath(Tree& tree, const IdentifierToken& names, std::string_view path, const Value& value) {
    const Walk walk(tree.root(), path);
    if (walk.entry != nullptr) {
        if (walk.entry->type == Type::kBlock) {
            return false;
        }
        tree.set(*walk.entry, value);
        return true;
    }
    if (!canAdd(walk, path, names)) {
        return false;
    }
    add(tree, walk, value);
    return true;
}

} // namespace qz::config

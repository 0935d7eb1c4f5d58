#include "config/tree.h"

#include "config/tree_check.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <new>
#include <utility>

namespace qz::config {

namespace {

template<class Kind>
Kind& createIn(void* memory) {
    return *new (memory) Kind();
}

void setName(NamedEntry& entry, std::string_view name) {
    entry.isNamed = true;
    entry.nameChars = name.data();
    entry.nameLength = static_cast<std::uint32_t>(name.size());
}

} // namespace

bool fits(std::string_view text) {
    return text.size() <= std::numeric_limits<std::uint32_t>::max();
}

bool valueFits(const Value& value) {
    const auto* const text = std::get_if<std::string_view>(&value);
    return text == nullptr || fits(*text);
}

// The entry that an operation has changed, and now and then everything.
inline void Tree::check(const Entry& entry) {
    checkEntry(entry);
    checkOfAll_.afterChange([this] { return checkBelow(root_); });
}

void Tree::setSource(SourceText source) {
    source_ = std::move(source);
    lines_.clear();
    parsed_.release();
    changed_.releaseAll();
    erased_ = nullptr;
    root_ = {};
    root_.type = Type::kBlock;
    root_.isNamed = true;
    root_.isOriginal = true;
}

Entry& Tree::makeOriginal() {
    auto& entry = createIn<Entry>(parsed_.allocate(sizeof(Entry), alignof(Entry)));
    entry.isOriginal = true;
    return entry;
}

NamedEntry& Tree::makeOriginal(std::string_view name) {
    auto& entry = createIn<NamedEntry>(parsed_.allocate(sizeof(NamedEntry), alignof(NamedEntry)));
    entry.isOriginal = true;
    setName(entry, name);
    return entry;
}

char* Tree::makeOriginalChars(std::size_t count) {
    return static_cast<char*>(parsed_.allocate(count, 1));
}

Entry& Tree::insert(Entry& list, Entry* before, std::optional<std::string_view> name,
                    const Value& value) {
    Entry& entry = name ? createIn<NamedEntry>(changed_.allocate(sizeof(NamedEntry)))
                        : createIn<Entry>(changed_.allocate(sizeof(Entry)));
    try {
        if (name) {
            setName(static_cast<NamedEntry&>(entry), {});
        }
        set(entry, value);
        if (name) {
            rename(static_cast<NamedEntry&>(entry), *name);
        }
    } catch (...) {
        releaseOne(entry);
        throw;
    }
    list.entries.insert(before, entry);
    list.areEntriesChanged = true;
    const core::AtEnd checked([&] { checkLinks(list, entry); });
    return entry;
}

void Tree::rename(NamedEntry& entry, std::string_view name) {
    if (entry.name() == name) {
        return;
    }
    const core::AtEnd checked([&] { check(entry); });
    const char* const chars = copyChars(name);
    if (entry.ownsName) {
        changed_.release(entry.nameChars);
    }
    setName(entry, {chars, name.size()});
    entry.ownsName = true;
    entry.isNameChanged = true;
}

void Tree::erase(Entry& list, Entry& entry) {
    const core::AtEnd checked([&, next = entry.next] {
        const Entry* const behind = next == nullptr ? list.entries.first : next;
        if (behind != nullptr) {
            checkLinks(list, *behind);
        }
        check(list);
    });
    list.entries.remove(entry);
    list.areEntriesChanged = true;
    entry.next = nullptr;                // alone
    const bool stays = entry.isOriginal; // inserted entries are freed
    release({&entry});
    if (stays) {
        entry.next = std::exchange(erased_, &entry);
        entry.previous = &list;
    }
}

void Tree::set(Entry& entry, const Value& value) {
    const core::AtEnd checked([&] { check(entry); });
    std::visit([&](const auto& one) { setOne(entry, one); }, value);
}

void Tree::setOne(Entry& entry, EmptyBlock /*value*/) {
    entry.type = Type::kBlock;
}

void Tree::setOne(Entry& entry, int value) {
    if (entry.type == Type::kInteger && entry.integer == value) {
        return;
    }
    dropValue(entry);
    entry.type = Type::kInteger;
    entry.integer = value;
}

void Tree::setOne(Entry& entry, double value) {
    constexpr auto bits = [](double real) { return std::bit_cast<std::uint64_t>(real); };
    if (entry.type == Type::kReal && bits(entry.real) == bits(value)) {
        return;
    }
    dropValue(entry);
    entry.type = Type::kReal;
    entry.real = value;
}

void Tree::setOne(Entry& entry, std::string_view value) {
    if (entry.type == Type::kString && entry.text() == value) {
        return;
    }
    const char* const chars = copyChars(value);
    dropValue(entry);
    entry.type = Type::kString;
    entry.chars = chars;
    entry.charCount = static_cast<std::uint32_t>(value.size());
    entry.ownsChars = true;
}

char* Tree::copyChars(std::string_view chars) {
    char* const copy = static_cast<char*>(changed_.allocate(chars.size()));
    std::copy(chars.begin(), chars.end(), copy);
    return copy;
}

void Tree::dropValue(Entry& entry) {
    if (entry.type == Type::kList) {
        release(entry.entries);
    } else if (entry.ownsChars) {
        changed_.release(entry.chars);
    }
    entry.ownsChars = false;
    entry.isValueChanged = true;
}

// Frees an entry's contents before the entries behind it, so that one loop does for any depth.
void Tree::release(EntryList entries) {
    Entry* next = nullptr;
    for (Entry* entry = entries.first; entry != nullptr; entry = next) {
        next = entry->next;
        if (entry->holdsEntries() && entry->entries.first != nullptr) {
            entry->entries.last()->next = next;
            next = entry->entries.first;
        }
        releaseOne(*entry);
    }
}

// Entries of the text stay in `parsed_`.
void Tree::releaseOne(Entry& entry) {
    if (entry.type == Type::kString && entry.ownsChars) {
        changed_.release(entry.chars);
    }
    if (entry.isNamed && entry.ownsName) {
        changed_.release(static_cast<NamedEntry&>(entry).nameChars);
    }
    if (!entry.isOriginal) {
        changed_.release(&entry);
    }
}

} // namespace qz::config

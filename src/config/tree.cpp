#include "config/tree.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <new>

namespace qz::config {

namespace {

template<class Kind>
Kind& create(std::pmr::memory_resource& memory) {
    return *new (memory.allocate(sizeof(Kind), alignof(Kind))) Kind();
}

void setName(NamedEntry& entry, std::string_view name) {
    entry.isNamed = true;
    entry.nameChars = name.data();
    entry.nameLength = static_cast<std::uint32_t>(name.size());
}

} // namespace

void Tree::setSource(SourceText source) {
    source_ = std::move(source);
    parsed_.release();
    changed_.release();
    erased_.clear();
    root_ = {};
    root_.type = Type::kBlock;
    root_.isNamed = true;
    root_.isOriginal = true;
}

Entry& Tree::makeOriginal() {
    auto& entry = create<Entry>(parsed_);
    entry.isOriginal = true;
    return entry;
}

NamedEntry& Tree::makeOriginal(std::string_view name) {
    auto& entry = create<NamedEntry>(parsed_);
    entry.isOriginal = true;
    setName(entry, name);
    return entry;
}

char* Tree::makeOriginalChars(std::size_t count) {
    return static_cast<char*>(parsed_.allocate(count, 1));
}

Entry& Tree::make() {
    return create<Entry>(changed_);
}

NamedEntry& Tree::make(std::string_view name) {
    auto& entry = create<NamedEntry>(changed_);
    setName(entry, {});
    rename(entry, name);
    return entry;
}

void Tree::setInteger(Entry& entry, int value) {
    if (entry.type == Type::kInteger && entry.integer == value) {
        return;
    }
    dropValue(entry);
    entry.type = Type::kInteger;
    entry.integer = value;
}

void Tree::setReal(Entry& entry, double value) {
    constexpr auto bits = [](double real) { return std::bit_cast<std::uint64_t>(real); };
    if (entry.type == Type::kReal && bits(entry.real) == bits(value)) {
        return;
    }
    dropValue(entry);
    entry.type = Type::kReal;
    entry.real = value;
}

void Tree::setText(Entry& entry, std::string_view value) {
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

void Tree::rename(NamedEntry& entry, std::string_view name) {
    if (entry.name() == name) {
        return;
    }
    const char* const chars = copyChars(name);
    if (entry.ownsName) {
        releaseChars(entry.nameChars, entry.nameLength);
    }
    setName(entry, {chars, name.size()});
    entry.ownsName = true;
    entry.isNameChanged = true;
}

void Tree::insert(Entry& list, Entry* before, Entry& entry) {
    list.entries.insert(before, entry);
    list.areEntriesChanged = true;
}

void Tree::erase(Entry& list, Entry& entry) {
    if (entry.isOriginal) {
        erased_.push_back({&list, entry.place});
    }
    list.entries.remove(entry);
    list.areEntriesChanged = true;
    entry.next = nullptr; // alone
    release({&entry});
}

char* Tree::copyChars(std::string_view chars) {
    char* const copy = static_cast<char*>(changed_.allocate(chars.size(), 1));
    std::copy(chars.begin(), chars.end(), copy);
    return copy;
}

void Tree::releaseChars(const char* chars, std::size_t count) {
    changed_.deallocate(const_cast<char*>(chars), count, 1);
}

void Tree::dropValue(Entry& entry) {
    if (entry.type == Type::kList) {
        release(entry.entries);
    } else if (entry.ownsChars) {
        releaseChars(entry.chars, entry.charCount);
    }
    entry.ownsChars = false;
    entry.isValueChanged = true;
}

// What is in an entry goes before those behind it, so that no depth takes more than this one loop.
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

// Those of the text stay in the memory of parsing.
void Tree::releaseOne(Entry& entry) {
    if (entry.type == Type::kString && entry.ownsChars) {
        releaseChars(entry.chars, entry.charCount);
    }
    if (entry.isNamed && entry.ownsName) {
        const std::string_view name = entry.name();
        releaseChars(name.data(), name.size());
    }
    if (entry.isOriginal) {
        return;
    }
    if (entry.isNamed) {
        changed_.deallocate(&entry, sizeof(NamedEntry), alignof(NamedEntry));
    } else {
        changed_.deallocate(&entry, sizeof(Entry), alignof(Entry));
    }
}

} // namespace qz::config

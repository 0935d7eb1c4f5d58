#include "config/writer.h"

#include "config/decimal.h"
#include "config/escapes.h"

#include <charconv>
#include <cmath>
#include <cstddef>
#include <iterator>

namespace qz::config {

namespace {

void appendInteger(std::string& output, int value) {
    char digits[16];
    output.append(digits, std::to_chars(std::begin(digits), std::end(digits), value).ptr);
}

} // namespace

bool Writer::addEntries(const EntryList& entries) {
    for (const Entry* entry = entries.first; entry != nullptr; entry = entry->next) {
        addIndentation();
        if (!addEntry(*entry)) {
            return false;
        }
        text_ += lineEnd_;
    }
    return true;
}

bool Writer::addEntry(const Entry& entry) {
    if (isTooLong() || !names_.matchesAllOf(entry.name())) {
        return false;
    }
    text_ += entry.name();
    if (entry.type == Type::kBlock) {
        return addBlock(entry.entries);
    }
    text_ += " = ";
    const bool isWritten = addValue(entry);
    text_ += ';';
    return isWritten;
}

bool Writer::addValue(const Entry& entry) {
    if (isTooLong()) {
        return false;
    }
    switch (entry.type) {
    case Type::kInteger:
        appendInteger(text_, entry.integer);
        return true;
    case Type::kReal:
        if (!std::isfinite(entry.real)) {
            return false;
        }
        (reals_ == Reals::shortest ? appendShortestReal : appendReal)(text_, entry.real);
        return true;
    case Type::kString:
        text_ += '"';
        appendEscaped(text_, entry.text());
        text_ += '"';
        return true;
    case Type::kList:
        return addList(entry.entries);
    default:
        return false;
    }
}

void Writer::addIndentation() {
    if (isTooLong()) {
        return;
    }
    constexpr std::size_t kBlanksOfLevel = 4;
    text_ += indentation_.blanks;
    text_.append(kBlanksOfLevel * static_cast<std::size_t>(indentation_.levels), ' ');
}

bool Writer::addBlock(const EntryList& entries) {
    if (entries.first == nullptr || depth_ == kMaxDepth) {
        return false;
    }
    text_ += lineEnd_;
    addIndentation();
    text_.append("{").append(lineEnd_);
    ++depth_;
    ++indentation_.levels;
    const bool isWritten = addEntries(entries);
    --indentation_.levels;
    --depth_;
    addIndentation();
    text_ += '}';
    return isWritten;
}

bool Writer::addList(const EntryList& items) {
    if (items.first == nullptr || depth_ == kMaxDepth) {
        return false;
    }
    ++depth_;
    bool isWritten = true;
    char before = '{';
    for (const Entry* item = items.first; isWritten && item != nullptr; item = item->next) {
        text_ += before;
        if (before == ',') {
            text_ += ' ';
        }
        before = ',';
        isWritten = addValue(*item);
    }
    text_ += '}';
    --depth_;
    return isWritten;
}

} // namespace qz::config

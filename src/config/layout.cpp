#include "config/layout.h"

#include <algorithm>
#include <iterator>

namespace qz::config {

namespace {

constexpr std::string_view kBlanks = " \t";

} // namespace

Layout::Layout(std::string_view text) : text_(text) {
    std::size_t begin = 0;
    do {
        lines_.push_back({begin, skipBlanks(begin) - begin});
        begin = text.find('\n', begin) + 1; // npos wraps to 0
    } while (begin != 0);
}

std::string_view Layout::indentationAt(std::size_t offset) const {
    const auto behind = std::upper_bound(
        lines_.begin(), lines_.end(), offset,
        [](std::size_t position, const Line& line) { return position < line.begin; });
    const Line& line = *std::prev(behind);
    return text_.substr(line.begin, std::min(line.indentation, offset - line.begin));
}

std::optional<std::size_t> Layout::lineBegin(std::size_t offset) const {
    const std::size_t begin = skipBlanksBack(offset);
    if (begin > 0 && text_[begin - 1] != '\n') {
        return std::nullopt;
    }
    return begin;
}

std::optional<std::size_t> Layout::lineEnd(std::size_t offset) const {
    const std::size_t end = skipBlanks(offset);
    if (end < text_.size() && !has(kLineEnd, end)) {
        return std::nullopt;
    }
    return end;
}

std::optional<std::size_t> Layout::lineEndAfterComments(std::size_t offset) const {
    while (true) {
        offset = skipBlanks(offset);
        const std::size_t behind = skipComment(offset);
        if (behind == offset) {
            return lineEnd(offset);
        }
        if (text_.substr(offset, behind - offset).find('\n') != std::string_view::npos) {
            return std::nullopt;
        }
        offset = behind;
    }
}

std::size_t Layout::skipBlanks(std::size_t offset) const {
    return std::min(text_.find_first_not_of(kBlanks, offset), text_.size());
}

std::size_t Layout::skipBlanksBack(std::size_t offset) const {
    // One more than the last that is no blank, which for none is 0.
    return text_.substr(0, offset).find_last_not_of(kBlanks) + 1;
}

std::size_t Layout::commaFrom(std::size_t offset) const {
    while (text_[offset] != ',') {
        const std::size_t behind = skipComment(offset);
        offset = behind == offset ? offset + 1 : behind;
    }
    return offset;
}

// A line comment without its line's end.
std::size_t Layout::skipComment(std::size_t offset) const {
    if (has("//", offset)) {
        return text_.find(kLineEnd, offset);
    }
    return has("/*", offset) ? text_.find("*/", offset + 2) + 2 : offset;
}

} // namespace qz::config

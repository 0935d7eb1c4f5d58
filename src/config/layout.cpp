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

// A comment of several lines counts if only blanks and comments follow in its last line.
std::optional<std::size_t> Layout::lineEndAfterComments(std::size_t offset) const {
    for (std::size_t behind = 0;; offset = behind) {
        offset = skipBlanks(offset);
        behind = skipComment(offset);
        if (behind == offset) {
            return lineEnd(offset);
        }
    }
}

std::size_t Layout::endOfCommentLines(std::size_t entryEnd, std::size_t lineEnd,
                                      std::string_view indentation) const {
    std::size_t endOfDeeper = lineEnd; // the end of the deeper lines at the beginning
    bool areDeeper = skipBlanks(entryEnd) != lineEnd;
    while (has(kLineEnd, lineEnd)) {
        const std::size_t begin = lineEnd + kLineEnd.size();
        const std::size_t text = skipBlanks(begin);
        const bool isEnd = text == text_.size() || has("}", text) || has(kLineEnd, text);
        const auto end = skipComment(text) == text ? std::nullopt : lineEndAfterComments(text);
        if (!end) {
            return isEnd ? lineEnd : endOfDeeper;
        }
        lineEnd = *end;
        const std::string_view blanks = text_.substr(begin, text - begin);
        areDeeper = areDeeper && blanks != indentation && blanks.starts_with(indentation);
        endOfDeeper = areDeeper ? lineEnd : endOfDeeper;
    }
    return lineEnd;
}

std::size_t Layout::beginOfComments(std::size_t from, std::size_t offset) const {
    bool isBehindOther = from > 0;
    std::size_t begin = offset;
    for (std::size_t at = from; at < offset;) {
        int lineEnds = 0;
        for (at = skipBlanks(at); has(kLineEnd, at); at = skipBlanks(at + kLineEnd.size())) {
            ++lineEnds;
        }
        if (lineEnds > 1 || (lineEnds > 0 && isBehindOther)) {
            begin = offset;
        }
        isBehindOther = isBehindOther && lineEnds == 0;
        const std::size_t behind = skipComment(at);
        if (at >= offset || behind == at) {
            break;
        }
        begin = std::min(begin, at);
        at = behind;
    }
    return begin;
}

std::size_t Layout::skipBlanks(std::size_t offset) const {
    return std::min(text_.find_first_not_of(kBlanks, offset), text_.size());
}

std::size_t Layout::skipBlanksBack(std::size_t offset) const {
    // If all are blanks, npos + 1 is 0.
    return text_.substr(0, offset).find_last_not_of(kBlanks) + 1;
}

std::size_t Layout::find(char character, std::size_t offset) const {
    while (text_[offset] != character) {
        const std::size_t behind = skipComment(offset);
        offset = behind == offset ? offset + 1 : behind;
    }
    return offset;
}

// Leaves the line's end behind a line comment.
std::size_t Layout::skipComment(std::size_t offset) const {
    if (has("//", offset)) {
        return text_.find(kLineEnd, offset);
    }
    return has("/*", offset) ? text_.find("*/", offset + 2) + 2 : offset;
}

} // namespace qz::config

// Lines, blanks and comments of a text, for changes in single places.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qz::config {

class Layout {
public:
    explicit Layout(std::string_view text);

    // The blanks that the line of an offset begins with.
    std::string_view indentationAt(std::size_t offset) const;

    // Where the line begins, if nothing but blanks stands in it before an offset.
    std::optional<std::size_t> lineBegin(std::size_t offset) const;

    // Where the line ends, if nothing but blanks, or blanks and comments, stands in it from an
    // offset on. The line's end is its CR LF or the text's end.
    std::optional<std::size_t> lineEnd(std::size_t offset) const;
    std::optional<std::size_t> lineEndAfterComments(std::size_t offset) const;

    // The end of the last line of comments that belongs to the entry above it; `lineEnd` if there
    // is none. The entry ends at `entryEnd` and its line at `lineEnd`, with only blanks and
    // comments between. Comments before an empty line or the list's end belong to the entry above
    // them. Comments before another entry belong to that one, but the first ones continue a comment
    // in the line of the entry above if they are indented deeper than that entry.
    std::size_t endOfCommentLines(std::size_t entryEnd, std::size_t lineEnd,
                                  std::string_view indentation) const;

    // The beginning of the first comment that belongs to the entry at `offset`; `offset` if there
    // is none. Only blanks, ends of lines and comments stand between `from` and the entry. A
    // comment does not belong to the entry if an empty line follows the comment, or if the comment
    // stands in the line of what ends at `from`.
    std::size_t beginOfComments(std::size_t from, std::size_t offset) const;

    // Skip blanks, forwards or backwards.
    std::size_t skipBlanks(std::size_t offset) const;
    std::size_t skipBlanksBack(std::size_t offset) const;

    // The next comma or opening brace outside comments; there is one.
    std::size_t commaFrom(std::size_t offset) const { return find(',', offset); }
    std::size_t braceFrom(std::size_t offset) const { return find('{', offset); }

    bool endsInLineEnd() const { return text_.ends_with(kLineEnd); }

    static constexpr std::string_view kLineEnd = "\r\n";

private:
    bool has(std::string_view part, std::size_t offset) const {
        return text_.substr(offset).starts_with(part);
    }
    std::size_t skipComment(std::size_t offset) const;
    std::size_t find(char character, std::size_t offset) const;

    struct Line {
        std::size_t begin;
        std::size_t indentation; // how many blanks it begins with
    };

    std::string_view text_;
    // Found once: otherwise a long line or a long indentation with many changes would take
    // quadratic time.
    std::vector<Line> lines_;
};

} // namespace qz::config

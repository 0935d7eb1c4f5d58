// Lines, blanks and comments of a text, for those who change it in places.
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

    // Behind an entry whose line ends at `lineEnd`: the end of the last of the lines of comments
    // below that belong to it. These are all up to an empty line or the list's end; directly above
    // another entry only those that are indented deeper than the first entry, by so many blanks.
    std::size_t endOfCommentLines(std::size_t lineEnd, std::size_t indentation) const;

    // Where the comments that belong to the entry at an offset begin, if only blanks, lines' ends
    // and comments stand between another offset and it: those without an empty line behind them,
    // and that are not behind something else in its line. The entry's own offset if it has none.
    std::size_t beginOfComments(std::size_t from, std::size_t offset) const;

    // Over blanks, forwards and backwards.
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
    // Found once: a long line with many changes would take quadratic time otherwise, and so would a
    // long indentation.
    std::vector<Line> lines_;
};

} // namespace qz::config

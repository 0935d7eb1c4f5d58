// Makes untrusted text safe for a terminal: it cannot move the cursor, change the title or change
// the order of characters.
#pragma once

#include <string>
#include <string_view>

// For messages: characters that a terminal would not just draw become "?". Line breaks at the end
// are left out, others become `lineBreak`.
std::string printable(std::string_view text, std::string_view lineBreak = "\n    ");

// For names: the bytes of characters that a terminal would not just draw become \xNN.
std::string shown(std::string_view name);

// For texts: the same between quotes, with a backslash in front of quotes and backslashes.
std::string quoted(std::string_view text);

// Columns of a terminal: each character counts as one.
std::size_t columnsOf(std::string_view text);

// Its first `most` columns, or all.
std::string_view cut(std::string_view text, std::size_t most);

// With as many blanks behind it as it needs for `width` columns.
std::string padded(std::string text, std::size_t width);

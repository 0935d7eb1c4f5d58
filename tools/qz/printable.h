// What others have written, made fit for a terminal: it moves no cursor, changes no title and no
// order of characters.
#pragma once

#include <string>
#include <string_view>

// A message: what a terminal would not just draw becomes "?". Line breaks at the end are left out,
// those within become `lineBreak`.
std::string printable(std::string_view text, std::string_view lineBreak = "\n    ");

// A name: the bytes of what a terminal would not just draw are written as \xNN.
std::string shown(std::string_view name);

// What another process has written, made fit for a terminal.
#pragma once

#include <string>
#include <string_view>

// Moves no cursor and changes no title: what a terminal would not just draw becomes "?". Line
// breaks at the end are left out, those within become `lineBreak`.
std::string printable(std::string_view text, std::string_view lineBreak = "\n    ");

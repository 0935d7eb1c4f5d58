// The program's output.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

// Whether the stream is a terminal that takes commands, for example to move the cursor.
bool takesCommands(std::FILE* stream);

// The text in a colour if the stream is a terminal that shows colours, else unchanged. `code` is
// the part between "\033[" and "m".
std::string coloured(std::FILE* stream, const char* code, std::string_view text);
std::string red(std::FILE* stream, std::string_view text);
std::string green(std::FILE* stream, std::string_view text);

// All output goes through this function: unchanged bytes to files and pipes, characters to a
// Windows console. Throws Failure if standard output cannot be written.
void print(std::string_view text);
void printError(std::string_view text);

// One line on standard error: "qz: error: ...", with the problem as `shown` has it.
void complain(std::string_view problem);

// What people see of the program.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

// Whether it is a terminal that takes commands, to move the cursor for instance.
bool takesCommands(std::FILE* stream);

// The text in red or green where the stream is a terminal that shows colours, else as it is.
// `code` is what stands between "\033[" and "m".
std::string coloured(std::FILE* stream, const char* code, std::string_view text);
std::string red(std::FILE* stream, std::string_view text);
std::string green(std::FILE* stream, std::string_view text);

// All that the program says goes through here: bytes as they are into files and pipes, characters
// to a console. Throws Failure if standard output takes no more.
void print(std::string_view text);
void printError(std::string_view text);

// One line on standard error: "qz: error: ...", with the problem as `shown` has it.
void complain(std::string_view problem);

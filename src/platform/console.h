// Where the library shows text of its own: debugger, standard error, message box.
#pragma once

#include <cstddef>

namespace platform {

// Looks again where standard error leads. Cheap enough for start-up, too slow for each line.
void refreshEcho();

// The program's variable qz_log_echo_levels; null if the program has none.
const unsigned int* echoLevels();

// False when nobody could see an echo, so that no line has to be made for it.
bool echoWanted();

// Sends a line of UTF-8 text, terminated, to the debugger and to standard error.
void echo(const char* text, std::size_t length);

// Shows a modal error box and returns when the user closes it. Shows nothing on Linux.
void alertBox(const char* text, const char* caption);

} // namespace platform

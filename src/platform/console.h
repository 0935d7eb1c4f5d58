// Where a program's own words go: debugger, standard error, message box.
#pragma once

#include <cstddef>

namespace platform {

// Looks again at what standard error is. Cheap enough for start-up, too dear for each line.
void refreshEcho();

// The program's qz_log_echo_levels; null if it has none.
const unsigned int* echoLevels();

// False when nobody could see an echo, so that no line has to be made for it.
bool echoWanted();

// Sends a line of UTF-8 text, terminated, to the debugger and to standard error.
void echo(const char* text, std::size_t length);

// Shows a modal error box and returns when it is closed; at once where there is nothing to show it
// on.
void alertBox(const char* text, const char* caption);

} // namespace platform

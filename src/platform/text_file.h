// Files that text is written to, by UTF-8 path: log files. Nothing is buffered here: the system has
// the text when a write returns. Nothing here allocates or takes a lock of the C library, because a
// thread that was killed at the end of the process may have held one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace platform {

using TextFile = std::intptr_t;

constexpr TextFile kNoTextFile = 0;

// Opens for writing and empties the file. kNoTextFile if that fails or would have to wait, as for a
// pipe that nobody reads.
TextFile openTextFile(const char* path);

// Writes line breaks as the system has them. May wait for the system to take the text. Returns how
// much it has taken: less than all if it refuses the rest, for instance because the disk is full.
std::size_t writeText(TextFile file, std::string_view text);

// Removes `tail`, the last part of what was written, from the file. False if that cannot be done,
// for instance with a pipe.
bool takeBackText(TextFile file, std::string_view tail);

void closeTextFile(TextFile file);

// True for a file that has contents to keep; false for pipes and devices.
bool isOrdinaryFile(const char* path);

// Moves a file to the path of another one, which is deleted first.
void replaceFile(const char* from, const char* to);

} // namespace platform

// Files that text is written to, by UTF-8 path: log files. Not buffered here; a write is in the
// hands of the system when it returns. Nothing here allocates or takes a lock of the C library,
// which a thread that was killed at the end of the process may have had in its hands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace platform {

using TextFile = std::intptr_t;

constexpr TextFile kNoTextFile = 0;

// Opens for writing, truncating; kNoTextFile if it cannot be opened at once. A pipe that nobody
// reads counts as one that cannot.
TextFile openTextFile(const char* path);

// Line breaks are written as the system has them. Waits for the disk. Returns how much of the text
// it has taken: less than all if it refuses the rest, because it is full for instance.
std::size_t writeText(TextFile file, std::string_view text);

// Takes the last part of what was written back out of the file. False if that cannot be done, as
// with a pipe.
bool takeBackText(TextFile file, std::string_view tail);

void closeTextFile(TextFile file);

// True for a file that has contents to keep; false for pipes and devices.
bool isOrdinaryFile(const char* path);

// Moves a file over another one, which is deleted first.
void replaceFile(const char* from, const char* to);

} // namespace platform

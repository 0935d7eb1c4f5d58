// Files that text is written to, by UTF-8 path: log files. Not buffered here; a write is in the
// hands of the system when it returns.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

using TextFile = std::intptr_t;

constexpr TextFile kNoTextFile = 0;

// Opens for writing, truncating; kNoTextFile if it cannot be opened at once. A pipe that nobody
// reads counts as one that cannot.
TextFile openTextFile(const char* path);

// Line breaks are written as the system has them. Waits for the disk; what it refuses is lost.
void writeText(TextFile file, const char* text, std::size_t length);

// The same without taking a lock of the C library: for the end of a process whose other threads
// were killed, possibly with that lock in their hands.
void writeTextWithoutLock(TextFile file, const char* text, std::size_t length);

void closeTextFile(TextFile file);

// True for a file that has contents to keep; false for pipes and devices.
bool isOrdinaryFile(const char* path);

// Moves a file over another one, which is deleted first.
void replaceFile(const char* from, const char* to);

} // namespace platform

// The C runtime's text streams, by UTF-8 path: log files are written with them.
#pragma once

#include <cstdio>

namespace platform {

// Opens for writing in text mode, truncating; null if it cannot be opened at once. A pipe that
// nobody reads counts as one that cannot.
std::FILE* openTextForWriting(const char* path);

// True for a file that has contents to keep; false for pipes and devices.
bool isOrdinaryFile(const char* path);

// Moves a file over another one, which is deleted first.
void replaceFile(const char* from, const char* to);

} // namespace platform

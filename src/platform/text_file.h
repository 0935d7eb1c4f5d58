// Files that text is written to, by UTF-8 path: log files. Nothing is buffered here: the system has
// the text when a write returns. Nothing here allocates or takes a lock of the C library, because a
// thread that was killed at the end of the process may have held one.
#pragma once

#include "platform/file_id.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace platform {

struct TextFile {
    std::intptr_t handle = 0;
    FileId id;

    bool operator==(const TextFile&) const = default;
};

constexpr TextFile kNoTextFile;

// Opens for writing and empties the file. kNoTextFile if that fails or would have to wait, as for a
// pipe that nobody reads.
TextFile openTextFile(const char* path);

// Writes line breaks as the system has them, on Linux behind what the file has then, which others
// may have cut. May wait for the system to take the text. Returns how much it has taken: less than
// all if it refuses the rest, for instance because the disk is full; nothing if the host has closed
// the file.
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

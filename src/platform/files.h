// Files and directories, by UTF-8 path with either separator. Nothing here logs or throws; a path
// that the system cannot take is one that does not exist.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

// The system's number for what went wrong; 0 for success.
using SystemError = std::uint32_t;

using FileHandle = std::intptr_t;
inline constexpr FileHandle kNoFile = -1;

// Between the names of a path that the system gives or prints.
extern const char kSeparator;

enum class FileAccess {
    read,   // an existing file
    write,  // created if missing; emptied by the time truncateFile has been called
    append, // created if missing
    record, // as append; each write waits for the disk, and nobody else may even read
};

// Opens an ordinary file and, for writing, claims it: a second writer is refused before it can
// change the contents. Never waits. kNoFile, with the error, on failure.
FileHandle openFile(const char* path, FileAccess access, SystemError& error);

// The same for reading, except that it waits for a program that keeps others from the file, as one
// does that is just replacing it: for a second at most. On Linux no program can.
FileHandle openFileWaiting(const char* path, SystemError& error);

// The file is closed in any case. An error may be one of writing that the system had put off.
SystemError closeFile(FileHandle file);

// Transfer as much as there is, looping where the system takes less in one call. Return the bytes
// transferred, also when an error ended it early.
std::size_t readFile(FileHandle file, void* buffer, std::size_t count, SystemError& error);
std::size_t writeFile(FileHandle file, const void* buffer, std::size_t count, SystemError& error);

// Ends the file at its position.
SystemError truncateFile(FileHandle file);

SystemError seekFile(FileHandle file, std::int64_t position);
SystemError seekFileEnd(FileHandle file);
SystemError tellFile(FileHandle file, std::int64_t& position);
SystemError sizeFile(FileHandle file, std::int64_t& size);

enum class PathKind { missing, file, directory };

PathKind pathKind(const char* path);

// Whether the path's spelling makes it that of a device, wherever it lies; never on Linux.
bool leadsToDevice(const char* path);

// Whether it makes it that of an alternate stream of a file, as in a.txt:notes; never on Linux.
bool leadsToStream(const char* path);

// What the C library's access function says; on Windows it takes the path in the ANSI code page.
bool isReadable(const char* path);

// Removes a file or an empty directory.
bool removePath(const char* path);

// Creates a directory with its missing parents; false if it exists already.
bool makeDirectories(const char* path);

// Seconds since the start of 1970, UTC; 0 on failure.
std::int64_t modificationTime(const char* path);

// The same in nanoseconds, as finely as the file system has it.
std::int64_t modificationTimeNs(const char* path);

using NameCallback = void (*)(void* context, const char* name);

// Calls back for each entry, "." and ".." first; the empty path is the root, of the current drive.
// False if there is nothing to list.
bool listDirectory(const char* path, NameCallback callback, void* context);

// The system's words for an error, in English and in one line.
void systemErrorText(SystemError error, char* buffer, std::size_t size);

} // namespace platform

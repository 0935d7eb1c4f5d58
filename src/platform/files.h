// Files and directories, by UTF-8 path with either separator. Nothing here logs or throws. A path
// that the system cannot take counts as one where nothing exists.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace platform {

// The system's number for what went wrong; 0 for success.
using SystemError = std::uint32_t;

using FileHandle = std::intptr_t;
inline constexpr FileHandle kNoFile = -1;

// The separator in paths that the system gives or prints.
extern const char kSeparator;

enum class FileAccess {
    read,   // an existing file
    write,  // created if missing; emptied on opening (Windows) or by truncateFile (Linux)
    append, // created if missing
    record, // as append; each write waits for the disk; on Windows nobody else may open the file.
            // Opening waits five seconds at most for another record to be closed.
};

// Opens an ordinary file without waiting. For writing it also claims the file: a second writer is
// refused before it can change the contents. On failure returns kNoFile and sets the error.
FileHandle openFile(const char* path, FileAccess access, SystemError& error);

// Opens for reading, and waits up to a second for a program that keeps others from the file, for
// instance while it replaces the file. On Linux no program can do that.
FileHandle openFileWaiting(const char* path, SystemError& error);

// Keeps writers from a file that is open for reading, until it is closed. False while one has it
// open. On Windows the opening has done that.
bool keepWritersOut(FileHandle file);

// Closes the file in any case. The error may be that of an earlier write that the system had put
// off.
SystemError closeFile(FileHandle file);

// Lets others write to a file that was claimed, by opening it for writing or by keepWritersOut. It
// is called before the file is closed, because a child of fork() may still have the file open.
void endClaim(FileHandle file);

// Transfer as much as there is, in several system calls if needed. Return the number of bytes
// transferred, also after an error.
std::size_t readFile(FileHandle file, void* buffer, std::size_t count, SystemError& error);
std::size_t writeFile(FileHandle file, const void* buffer, std::size_t count, SystemError& error);

// Reads at a position. Several threads, and children of fork(), may do so at once, if nobody uses
// the file's own position, which changes on Windows.
std::size_t readFileAt(FileHandle file, std::uint64_t position, void* buffer, std::size_t count,
                       SystemError& error);

// Ends the file at its position.
SystemError truncateFile(FileHandle file);

SystemError seekFile(FileHandle file, std::int64_t position);
SystemError seekFileEnd(FileHandle file);
SystemError tellFile(FileHandle file, std::int64_t& position);
SystemError sizeFile(FileHandle file, std::int64_t& size);

enum class PathKind { missing, file, directory };

PathKind pathKind(const char* path);

// Whether the path's spelling names a device, in whatever directory; never on Linux.
bool leadsToDevice(const char* path);

// Whether the path names an alternate stream of a file, as in a.txt:notes; never on Linux.
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

// Whether an entry's name stands for the directory itself or the one above.
inline bool isSelfOrParent(std::string_view name) {
    return name == "." || name == "..";
}

using NameCallback = void (*)(void* context, const char* name);

// Calls back for each entry, "." and ".." first. The empty path is the root, on Windows of the
// current drive. False if the directory cannot be listed.
bool listDirectory(const char* path, NameCallback callback, void* context);

// The system's text for an error, in English and in one line.
void systemErrorText(SystemError error, char* buffer, std::size_t size);

} // namespace platform

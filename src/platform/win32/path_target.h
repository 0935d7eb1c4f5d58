// What a path leads to, by its spelling.
#pragma once

namespace platform {

enum class PathTarget {
    file,   // or a directory, or a pipe
    stream, // an alternate stream of a file, as in a.txt:notes: no listing shows it
    device, // NUL, COM1.txt, \\.\PhysicalDrive0; opening one may wait
};

// Which names are devices is up to the version of Windows.
PathTarget targetOf(const wchar_t* path);

// The same of a path for the ANSI calls. One that is too long for any of them counts as that of a
// device, and so does each when memory is short.
PathTarget targetOf(const char* path);

} // namespace platform

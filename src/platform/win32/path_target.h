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

} // namespace platform

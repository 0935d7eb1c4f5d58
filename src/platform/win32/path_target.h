// What a path leads to, by its spelling.
#pragma once

namespace platform {

enum class PathTarget {
    file,   // or a directory, or a pipe
    stream, // an alternate stream of a file, as in a.txt:notes: no listing shows it
    device, // NUL, COM1.txt, \\.\PhysicalDrive0; opening one may wait
};

// The version of Windows decides which names are devices.
PathTarget targetOf(const wchar_t* path);

// The same for a path that goes to the ANSI calls. The result is `device` as well if the path is
// too long for any call or memory is short.
PathTarget targetOf(const char* path);

} // namespace platform

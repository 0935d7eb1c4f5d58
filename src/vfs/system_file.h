// Files of the operating system as handles of the virtual file system.
#pragma once

#include "VFS/File.h"

namespace vfs {

// Each logs its failures as File.h says.
VFS_File* openForReading(const char* path);
VFS_File* openForWriting(const char* path);
VFS_File* openForAppending(const char* path);

// New contents for a file, which are written beside it. Closing the handle drops them, unless they
// have taken the place of the old ones before.
VFS_File* openForReplacing(const char* path);

// For such a handle, once. False if the old contents stay.
bool takePlace(VFS_File* file);

} // namespace vfs

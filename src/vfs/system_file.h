// Files of the operating system as handles of the virtual file system.
#pragma once

#include "VFS/File.h"

namespace vfs {

// They log failures as File.h says.
VFS_File* openForReading(const char* path);
VFS_File* openForWriting(const char* path);
VFS_File* openForAppending(const char* path);

// Opens new contents for a file, which are written beside it. Closing the handle drops them unless
// takePlace has succeeded before.
VFS_File* openForReplacing(const char* path);

// Puts the new contents in place of the old ones. For a handle of openForReplacing, once. False if
// the old contents stay.
bool takePlace(VFS_File* file);

} // namespace vfs

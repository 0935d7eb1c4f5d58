// Files of the operating system as handles of the virtual file system.
#pragma once

#include "VFS/File.h"

namespace vfs {

// Each logs its failures as File.h says.
VFS_File* openForReading(const char* path);
VFS_File* openForWriting(const char* path);
VFS_File* openForAppending(const char* path);

} // namespace vfs

// Zip archives for PhysicsFS, in place of its own reader, which takes an archive at its word, looks
// at no check sum, and takes a time for its index that grows with the square of the entries.
#pragma once

#include <physfs.h>

namespace vfs {

extern const PHYSFS_Archiver kZipArchiver;

} // namespace vfs

// Reads zip archives for PhysicsFS. Replaces PhysicsFS's own reader, which trusts an archive,
// checks no check sums, and needs a time for its index that grows with the square of the number of
// entries.
#pragma once

#include <physfs.h>

namespace vfs {

extern const PHYSFS_Archiver kZipArchiver;

} // namespace vfs

// The file of an archive, for PhysicsFS.
#pragma once

#include <physfs.h>

#include <cstddef>
#include <memory>

namespace vfs {

struct IoDestroyer {
    void operator()(PHYSFS_Io* io) const { io->destroy(io); }
};
using Io = std::unique_ptr<PHYSFS_Io, IoDestroyer>;

// Sets PhysicsFS's error. Also counts the shortage, because PhysicsFS may go on to the next mount
// and lose the error.
std::nullptr_t failForMemory();

// Opens an archive. All duplicates share one descriptor, and each has its own position, also in
// children of fork(). With PhysicsFS's own Io, which opens the path again for each duplicate, an
// archive that is renamed, or has a relative path, would be lost or mistaken for another one.
// Null, with PhysicsFS's error set, if the file cannot be opened.
Io openArchiveIo(const char* path);

} // namespace vfs

// The end of a zip archive, which says where its directory is.
#pragma once

#include <physfs.h>

#include <cstdint>

namespace vfs {

struct ZipExtent {
    bool isZip;       // has an end of a zip archive
    const char* flaw; // why the directory cannot be read, or null
    std::uint64_t start;
    std::uint64_t end;
    std::uint64_t entries; // there is room for so many
    std::uint64_t shift;   // the length of what is in front of the archive: positions leave it out
    std::uint64_t behind;  // the length of what is behind its comment: nothing should be there
};

// Throws std::bad_alloc.
ZipExtent findZipDirectory(PHYSFS_Io& io);

} // namespace vfs

// The end of a zip archive, which says where its directory is.
#pragma once

#include <physfs.h>

#include <cstdint>

namespace vfs {

struct ZipExtent {
    bool isZip;       // the file has the end record of a zip archive
    const char* flaw; // why the directory cannot be read, or null
    std::uint64_t start;
    std::uint64_t end;
    std::uint64_t entries; // their number; the directory is long enough for it
    std::uint64_t shift;   // bytes in front of the archive; to be added to positions in it
    std::uint64_t behind;  // bytes behind the archive's comment; 0 in a sound archive
};

// Throws std::bad_alloc.
ZipExtent findZipDirectory(PHYSFS_Io& io);

} // namespace vfs

// The directory of a zip archive: which entries it has.
#pragma once

#include "vfs/zip_end.h"
#include "vfs/zip_index.h"

#include <string_view>

namespace vfs {

// A WARNING line of an entry.
void logZipFlaw(const char* archive, std::string_view name, const char* flaw);

// Reads it into the index. Trusts nothing that it says: an entry that cannot be read is one that
// says so, and one that has no place in the tree is left out with a WARNING line. Null, or why the
// archive is refused as a whole. Throws std::bad_alloc.
const char* readZipDirectory(PHYSFS_Io& io, const ZipExtent& extent, const char* archive,
                             ZipIndex& index);

} // namespace vfs

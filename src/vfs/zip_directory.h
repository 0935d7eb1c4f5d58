// The directory of a zip archive: which entries it has.
#pragma once

#include "vfs/zip_end.h"
#include "vfs/zip_index.h"

#include <string_view>

namespace vfs {

// Logs a WARNING line about an entry.
void logZipFlaw(const char* archive, std::string_view name, const char* flaw);

// Reads the directory into the index without trusting it. An entry that cannot be read gets a
// ZipContent that says why, and an entry that has no place in the tree is left out with a WARNING
// line. Returns null, or why the archive as a whole is refused. Throws std::bad_alloc.
const char* readZipDirectory(PHYSFS_Io& io, const ZipExtent& extent, const char* archive,
                             ZipIndex& index);

} // namespace vfs

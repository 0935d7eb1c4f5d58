// Log lines about files, module "VFS".
#pragma once

#include "core/library_log.h"

namespace vfs {

// As qz_logf, but control characters become "?": a name, which may come from an archive of
// anybody's, could end the line and forge another one, or reach a terminal with escape codes.
void logLine(unsigned int level, const char* format, ...) QZ_PRINTF_LIKE(2, 3);

} // namespace vfs

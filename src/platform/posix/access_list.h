// The access list of a file beyond its permissions, where the system has such lists.
#pragma once

#include "platform/posix/target_file.h"

namespace platform {

// Gives a new file the access list of the one it replaces, instead of the one from its directory.
bool copyAccessList(const TargetFile& target, int file);

} // namespace platform

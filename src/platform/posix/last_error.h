// What the last system call reported.
#pragma once

#include "platform/files.h"

#include <cerrno>

namespace platform {

inline SystemError lastError() {
    return static_cast<SystemError>(errno);
}

} // namespace platform

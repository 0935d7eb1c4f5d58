// What a signal means.
#pragma once

#include "platform/crash.h"

#include <csignal>

namespace platform {

// Safe in a signal handler. The registers are the third argument of the handler.
Fault faultOf(const siginfo_t& info, void* registers);

} // namespace platform

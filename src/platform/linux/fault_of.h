// What a signal means.
#pragma once

#include "platform/crash.h"

#include <csignal>

namespace platform {

// Safe in a signal handler; the registers are the third argument of one.
Fault faultOf(const siginfo_t& info, void* registers);

} // namespace platform

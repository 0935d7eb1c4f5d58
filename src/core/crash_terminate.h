// The text of an uncaught exception.
#pragma once

#include <string_view>

namespace core {

// Makes std::terminate log the exception that it was called for, if there is one, before the
// handler that was there runs.
void logUncaughtExceptions();

// The text that the calling thread has logged, on one line; empty if none. For its crash report.
std::string_view uncaughtException();

// Puts back the handler that was there, unless somebody has installed another one since.
void leaveUncaughtExceptions();

} // namespace core

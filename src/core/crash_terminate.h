// The words of the exception that nobody caught.
#pragma once

#include <string_view>

namespace core {

// From now on std::terminate logs the exception that it was called for, if there is one, before the
// handler that was there runs.
void logUncaughtExceptions();

// What the calling thread has logged so, on one line; empty if nothing. For its crash report.
std::string_view uncaughtException();

// Puts back the handler that was there, unless somebody has installed another one since.
void leaveUncaughtExceptions();

} // namespace core

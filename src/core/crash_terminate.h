// The words of the exception that nobody caught.
#pragma once

namespace core {

// From now on std::terminate logs the exception that it was called for, if there is one, before the
// handler that was there runs. A report tells where the process ended, but its lines have no place
// for that.
void logUncaughtExceptions();

// Puts back the handler that was there, unless somebody has installed another one since.
void leaveUncaughtExceptions();

} // namespace core

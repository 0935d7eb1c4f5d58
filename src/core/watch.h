// The watch table's life; for the library's start-up and shut-down.
#pragma once

namespace core {

void openWatchTable();

// Clears every place. Waits for a callback that is running, but not for ever: one that hangs must
// not keep a process from ending.
void closeWatchTable();

} // namespace core

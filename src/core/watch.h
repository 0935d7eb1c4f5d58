// The watch table's life; for the library's start-up and shut-down.
#pragma once

namespace core {

void openWatchTable();

// Takes the table for the calling thread, so that it can be emptied step by step. Waits for a
// callback that is running, but for two seconds only: one that hangs must not keep a process from
// ending. Then the table is out of use at once.
void claimWatchTable();

// Clears every place and puts the table out of use; for the thread that has claimed it.
void closeWatchTable();

} // namespace core

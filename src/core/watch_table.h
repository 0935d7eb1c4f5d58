// The watch table's life; for the library's start-up and shut-down.
#pragma once

namespace core {

void openWatchTable();

// Clears every place and puts the table out of use; nobody may be in one of its functions.
void closeWatchTable();

} // namespace core

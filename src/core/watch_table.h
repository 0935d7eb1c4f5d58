// The beginning and end of the watch table, for the library's start-up and shut-down.
#pragma once

namespace core {

void openWatchTable();

// Clears every place and puts the table out of use. Nobody may be in one of its functions.
void closeWatchTable();

} // namespace core

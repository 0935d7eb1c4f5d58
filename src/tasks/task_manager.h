// What the library itself needs of the task manager beyond its public interface.
#pragma once

namespace tasks {

// For the end of the process: discards what waits and lets no callback begin any more. Callbacks
// that are still running go on: the process has already waited for them.
void discardAtExit();

} // namespace tasks

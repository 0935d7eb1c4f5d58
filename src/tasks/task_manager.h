// What the library itself needs of the task manager beyond its public interface.
#pragma once

namespace tasks {

// For the end of the process: discards what waits and lets no callback begin any more. Does not
// wait for callbacks that are running.
void discardAtExit();

} // namespace tasks

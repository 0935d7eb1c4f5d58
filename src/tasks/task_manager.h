// What the library itself needs of the task manager beyond its public face.
#pragma once

namespace tasks {

// For the end of the process: discards what waits and lets no callback begin any more. Those that
// still run, for which the process has waited already, run on.
void discardAtExit();

} // namespace tasks

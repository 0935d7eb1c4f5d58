// What the library itself needs of the task manager beyond its public face.
#pragma once

namespace tasks {

// For the unloading of the library: lets no callback begin any more. False if one is still running,
// for which the process has waited already: then what it may use has to stay.
bool haveEndedAtUnload();

} // namespace tasks

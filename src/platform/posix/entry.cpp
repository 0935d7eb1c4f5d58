// Linked last: constructor functions then run after the static initialisers of every other file,
// and destructor functions before their destructors. A priority would change that order.
#include "platform/entry.h"

namespace {

__attribute__((constructor)) void attachLibrary() {
    platform::onAttach();
}

bool processIsEnding = false;

// When the process ends, static objects are destroyed before the destructor functions run; when the
// library is unloaded, after.
struct EndNotice {
    ~EndNotice() { processIsEnding = true; }
} endNotice;

__attribute__((destructor)) void detachLibrary() {
    platform::onDetach(processIsEnding ? platform::Detach::exit : platform::Detach::unload);
}

} // namespace

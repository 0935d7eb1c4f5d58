// Linked last: constructor functions then run after the static initialisers of every other file,
// and destructor functions before their destructors. A priority would change that order.
#include "platform/entry.h"

namespace {

__attribute__((constructor)) void attachLibrary() {
    platform::onAttach();
}

// Nothing tells whether the process ends or goes on without the library: the worse is assumed.
__attribute__((destructor)) void detachLibrary() {
    platform::onDetach(platform::Detach::exit);
}

} // namespace

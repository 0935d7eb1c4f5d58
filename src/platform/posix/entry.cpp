// Linked last: constructor functions then run after the static initialisers of every other file,
// and destructor functions before their destructors. A priority would change that order.
#include "platform/entry.h"

namespace {

__attribute__((constructor)) void attachLibrary() {
    platform::onAttach();
}

__attribute__((destructor)) void detachLibrary() {
    platform::onDetach(false);
}

} // namespace

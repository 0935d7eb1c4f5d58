// Cutting UTF-8 where it does not fit, under this floor's name.
#pragma once

#include "platform/cut_text.h"

namespace core {

using platform::copyCut;
using platform::cut;
using platform::lengthToKeep;

} // namespace core

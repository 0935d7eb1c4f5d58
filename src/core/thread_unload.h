// What the library itself needs of threads beyond Core/Threads.h.
#pragma once

#include "Core/Threads.h"

namespace core {

// QZ_thread_wait for a thread that has done its work, at the unloading of the library. The loader's
// lock is held then, and on Windows an ending thread waits for that lock, so there the wait is
// limited.
void waitAtUnload(QZ_thread* thread);

} // namespace core

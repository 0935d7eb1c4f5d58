// What the library itself needs of threads beyond their public face.
#pragma once

#include "Core/Threads.h"

namespace core {

// QZ_thread_wait for a thread that has done its work, at the unloading of the library: the loader's
// lock is held then, and on some systems an ending thread waits for that lock, so the wait is
// bounded.
void waitAtUnload(QZ_thread* thread);

} // namespace core

#include "platform/fence.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

namespace {

bool callBarrier(int command) {
    const int error = errno;
    const bool isDone = syscall(SYS_membarrier, command, 0, 0) == 0;
    errno = error;
    return isDone;
}

} // namespace

// Registering later takes milliseconds, because every running thread has to be told.
void prepareFence() {
    callBarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED);
}

bool fenceAllThreads() {
    const auto fence = [] { return callBarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED); };
    return fence() || (callBarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED) && fence());
}

} // namespace platform

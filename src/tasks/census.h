// How much work the task manager has, for programs that watch this one.
#pragma once

#include <cstddef>

namespace tasks {

struct Census {
    std::size_t workers;
    std::size_t running;    // tasks; a serial queue at work counts as one
    std::size_t waiting;    // tasks that wait for a worker
    std::size_t mainThread; // tasks that wait for the main thread
};

// All zeros if nobody in this process has used the task manager yet: the call does not start it.
Census census();

} // namespace tasks

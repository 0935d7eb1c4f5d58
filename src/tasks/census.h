// How much the task manager has to do, for who watches it.
#pragma once

#include <cstddef>

namespace tasks {

struct Census {
    std::size_t workers;
    std::size_t running; // tasks; a serial queue at work is one
    std::size_t waiting; // for a worker
    std::size_t mainThread;
};

// All zeros if nobody has used the task manager yet; asking does not start it.
Census census();

} // namespace tasks

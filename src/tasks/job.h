// What is given to a thread.
#pragma once

namespace tasks {

inline constexpr char kWorkerName[] = "qz worker"; // of threads that run jobs

using Job = void (*)(void* argument);

} // namespace tasks

// A function for a thread to run.
#pragma once

namespace tasks {

inline constexpr char kWorkerName[] = "qz worker"; // of threads that run jobs

using Job = void (*)(void* argument);

} // namespace tasks

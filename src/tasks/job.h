// What is given to a thread.
#pragma once

namespace tasks {

using Job = void (*)(void* argument);

} // namespace tasks

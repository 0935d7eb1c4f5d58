// The names of shared-memory objects, and the removal of those that killed processes have left.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace platform {

inline constexpr std::string_view kMemoryPrefix = "qzCore.memory.";
inline constexpr std::string_view kMutexPrefix = "qzCore.mutex.";

// All objects by their full names, in alphabetical order.
std::vector<std::string> listObjects();

// The path of an object, from its full name or from its parts.
std::string pathOf(std::string_view prefix, std::string_view name = {});

void removeDeadObjects();

// Looks at all objects in the first call of a process, and then at the next few each time, so that
// many calls do not look at all objects again and again.
void removeSomeDeadObjects();

} // namespace platform

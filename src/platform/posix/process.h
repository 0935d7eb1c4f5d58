// What each system tells about the process in its own way. Both functions may throw std::bad_alloc.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace platform {

// Nothing if the system cannot tell.
std::optional<std::string> executablePath();

// Throws std::system_error if the system cannot give them at the moment.
std::vector<std::string> rawArguments();

} // namespace platform

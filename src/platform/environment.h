// The process as the system describes it, in UTF-8. Every function may throw std::bad_alloc.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace platform {

// The executable's directory without a separator at its end; nothing if the system cannot tell.
std::optional<std::string> executableDirectory();

// The executable's file name; nothing if the system cannot tell.
std::optional<std::string> executableName();

// The command line as one text; nothing if it is not valid text. Throws std::system_error if the
// system cannot give it at the moment.
std::optional<std::string> commandLine();

// The arguments, the program's name first; std::nullopt in place of one that is not valid text.
// Throws as commandLine does.
std::vector<std::optional<std::string>> commandArguments();

enum class VariableStatus { done, failed, badName, badValue, tooBig };

// failed: the variable is not set, or empty. The buffer is written only when the result is `done`.
VariableStatus getVariable(const char* name, char* buffer, std::size_t size);

// An empty value removes the variable.
VariableStatus setVariable(const char* name, const char* value);

} // namespace platform

// qz conf: configuration files.
#pragma once

#include <string>
#include <vector>

using Arguments = std::vector<std::string>;

// Returns the exit code. Throws Failure and UsageError.
int conf(const Arguments& arguments);

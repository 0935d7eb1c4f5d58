// qz log: the logs of programs that are running.
#pragma once

#include <string>
#include <vector>

// Returns the exit code. Throws Failure and UsageError.
int logCommand(const std::vector<std::string>& arguments);

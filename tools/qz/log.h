// qz log: shows the logs of running programs.
#pragma once

#include "arguments.h"

// Returns the exit code. Throws Failure and UsageError.
int logCommand(const Arguments& arguments);

extern const char kLogUsage[];

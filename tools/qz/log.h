// qz log: the logs of programs that are running.
#pragma once

#include "arguments.h"

// Returns the exit code. Throws Failure and UsageError.
int logCommand(const Arguments& arguments);

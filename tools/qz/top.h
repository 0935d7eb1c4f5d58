// qz top: shows what a running program does.
#pragma once

#include "arguments.h"

// Returns the exit code. Throws Failure and UsageError.
int top(const Arguments& arguments);

extern const char kTopUsage[];

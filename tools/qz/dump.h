// qz dump: shows a file of saved objects.
#pragma once

#include "arguments.h"

// Returns the exit code. Throws Failure and UsageError.
int dump(const Arguments& arguments);

extern const char kDumpUsage[];

// qz conf: configuration files.
#pragma once

#include "arguments.h"

// Returns the exit code. Throws Failure and UsageError.
int conf(const Arguments& arguments);

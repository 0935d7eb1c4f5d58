// qz retrace: symbols for crash reports.
#pragma once

#include "arguments.h"

// Takes the arguments behind "retrace"; returns the exit code, or throws.
int retrace(const Arguments& arguments);

extern const char kRetraceUsage[];

// qz retrace: symbols for crash reports.
#pragma once

#include <string>
#include <vector>

// Takes the arguments behind "retrace"; returns the exit code, or throws.
int retrace(const std::vector<std::string>& arguments);

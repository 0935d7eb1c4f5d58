// The arguments of a command, in UTF-8.
#pragma once

#include <string>
#include <vector>

using Arguments = std::vector<std::string>;

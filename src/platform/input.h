// Reading to the end whatever can be read: files, those of /proc, pipes, devices, standard input.
#pragma once

#include "platform/files.h"

#include <string>

namespace platform {

// Appends everything up to the end, or to a little more than 2 GiB. 0 is success. Directories are
// an error. Throws std::bad_alloc.
SystemError readPath(const char* path, std::string& bytes);
SystemError readStandardInput(std::string& bytes);

} // namespace platform

// Files that are written as a whole, by UTF-8 path with either separator.
#pragma once

#include <string_view>

namespace platform {

// Replaces the contents of an ordinary file in one step, or makes the file: whatever happens
// meanwhile, whoever opens it finds all of the old contents or all of the new. A file that is not
// writable becomes so for its owner; its other permissions stay. Where links are common, that is
// not on Windows, one is followed, and refused if it leads nowhere. False, with the old contents in
// place, if the system refuses any of it: not to create files in the directory is enough.
bool replaceContents(const char* path, std::string_view bytes);

} // namespace platform

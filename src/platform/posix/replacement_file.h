// New files that take the place of others.
#pragma once

#include "platform/posix/descriptor.h"

#include <sys/types.h>

#include <climits>
#include <cstddef>

namespace platform {

// A new file in the directory of another one, whose place it can take. It holds a lock as long as
// it is open, so that others can tell it from one whose maker was killed.
class ReplacementFile {
public:
    // The directory is an open descriptor and, like the name, outlives the object.
    ReplacementFile(int directory, const char* name) : directory_(directory), name_(name) {}
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;

    // Removes the file unless it has taken the other's place.
    ~ReplacementFile();

    // These leave the reason of a failure in errno.
    bool create(mode_t mode);
    bool takePlace();

    int number() const { return file_.number(); }

    // Removes the files that were made to replace this one and whose makers are dead.
    static void removeAbandoned(int directory, const char* name);

private:
    int directory_;
    const char* name_;
    char temporaryName_[NAME_MAX + 1] = {}; // empty if there is no file
    Descriptor file_;
};

} // namespace platform

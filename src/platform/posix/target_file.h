// Files to be replaced, each with the directory that the new file is made in.
#pragma once

#include "platform/posix/descriptor.h"
#include "platform/posix/last_error.h"
#include "platform/posix/path.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <utility>

namespace platform {

// The file behind a path, by its directory and its name there.
class TargetFile {
public:
    // Follows links. 0 if the path leads to an ordinary file or one can be made there.
    SystemError locate(const char* path);

    // Sees what has taken the file's place meanwhile. A new link there is not followed; it counts
    // as no file. 0 if there is an ordinary file or none.
    SystemError lookAgain();

    int directory() const { return directory_.number(); }
    const char* name() const { return name_; }
    bool exists() const { return exists_; }
    const struct stat& status() const { return status_; }

    Descriptor open(int flags) const;
    Descriptor takeDirectory() { return std::move(directory_); }

private:
    bool enterDirectory();

    char path_[kPathRoom];
    const char* name_ = path_;
    Descriptor directory_{AT_FDCWD};
    bool exists_ = false;
    struct stat status_ {};
};

} // namespace platform

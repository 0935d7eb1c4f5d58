// New files that replace others.
#pragma once

#include "platform/posix/descriptor.h"

#include <sys/types.h>
#include <unistd.h>

#include <climits>
#include <cstddef>

namespace platform {

// A new file in the directory of the one that it is to replace. It is locked while it is open: an
// unlocked one was left by a process that was killed.
class ReplacementFile {
public:
    // The directory is an open descriptor and, like the name, outlives the object.
    ReplacementFile(int directory, const char* name) : directory_(directory), name_(name) {}
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;

    // Removes the file unless it has taken the other's place. A forked child's copy leaves it
    // alone.
    ~ReplacementFile();

    // On failure these set errno.
    bool create(mode_t mode);
    bool takePlace();

    int number() const { return file_.number(); }

    // Removes the files that processes made to replace this one before they were killed.
    static void removeAbandoned(int directory, const char* name);

private:
    const pid_t maker_ = getpid();
    int directory_;
    const char* name_;
    char temporaryName_[NAME_MAX + 1] = {}; // empty if there is no file
    Descriptor file_;
};

} // namespace platform

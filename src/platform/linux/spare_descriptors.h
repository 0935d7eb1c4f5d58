// File descriptors kept for a crash: one may be a consequence of having run out of them.
#pragma once

#include <sys/types.h>

namespace platform {

// Trivial to make and never destroyed. Safe in a signal handler.
class SpareDescriptors {
public:
    // Does nothing while they are held.
    void hold();

    // A host that closes all descriptors has closed these as well; what has their numbers by then
    // is left alone.
    void release();

private:
    // The report, a module, two files with its debugging information, and libunwind's pipe.
    static constexpr int kCount = 6;

    bool isMine(int file) const;

    int files_[kCount] = {-1, -1, -1, -1, -1, -1};
    ino_t id_ = 0;
};

} // namespace platform

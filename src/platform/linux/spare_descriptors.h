// File descriptors kept for a crash, because the process may crash after it has run out of them.
#pragma once

#include <sys/types.h>

namespace platform {

// Constant-initialised, never destroyed, and safe in a signal handler.
class SpareDescriptors {
public:
    // Opens the descriptors; does nothing while they are held.
    void hold();

    // Closes the descriptors. A host that closes all descriptors has closed these too; other files
    // that have got their numbers are left open.
    void release();

private:
    // The report, a module, two files with its debugging information, and libunwind's pipe.
    static constexpr int kCount = 6;

    bool isMine(int file) const;

    int files_[kCount] = {-1, -1, -1, -1, -1, -1};
    ino_t id_ = 0;
};

} // namespace platform

// Opening what is in the mounted tree.
#pragma once

#include "core/gate.h"
#include "vfs/archive_state.h"

#include <physfs.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace vfs {

// What PhysicsFS met on its way through the places where a path is looked for. It goes on to the
// next one after an error, and keeps the last one only.
class Errors {
public:
    Errors() { PHYSFS_getLastErrorCode(); } // forgets it

    PHYSFS_ErrorCode last() const { return PHYSFS_getLastErrorCode(); }

    // Also for want of memory for an error, or in another thread.
    bool lackedMemory() const { return archiveShortages != shortagesBefore_; }

private:
    unsigned shortagesBefore_ = archiveShortages;
};

bool saysMissing(PHYSFS_ErrorCode code);

// In a mounted directory the system would find devices, too, by the last name of a path. PhysicsFS
// leaves out separators before and behind it.
bool endsInDevice(std::string_view path);

struct EntryCloser {
    void operator()(PHYSFS_File* file) const { PHYSFS_close(file); }
};
using Entry = std::unique_ptr<PHYSFS_File, EntryCloser>;

struct Opened {
    Entry file;
    bool saidMissing; // by the last place at least
};

// Not an older copy, in place of one that cannot be opened for want of a descriptor, for example.
// The caller is inside archiveGate.
Opened openFirstCopy(const char* path);

// As much as there is, where the system may read less at a time than it is asked for. Less is the
// end or an error.
std::size_t readEntry(PHYSFS_File* file, void* buffer, std::size_t count);

// An open file of the tree. As long as it is there, neither its archive nor the tree is taken down.
class MountedFile {
public:
    // Null if it cannot be opened, which is logged.
    static std::unique_ptr<MountedFile> open(const char* path) noexcept;

    std::uint64_t size() const { return size_; }

    // Up to `count` bytes at a position. Fewer than there are means an error.
    std::size_t readAt(std::uint64_t position, void* buffer, std::size_t count);

private:
    MountedFile() = default;

    core::Gate::Visit visit_{archiveGate};
    Entry file_; // closed before the visit ends
    std::uint64_t size_ = 0;
    std::uint64_t position_ = 0;
};

} // namespace vfs

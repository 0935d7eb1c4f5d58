// Opens files of the mounted tree.
#pragma once

#include "core/gate.h"
#include "vfs/archive_state.h"

#include <physfs.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace vfs {

// The errors of PhysicsFS since the object was made. PhysicsFS looks for a path in one place after
// another; after an error it goes on to the next place, and it keeps only the last error.
class Errors {
public:
    Errors() { PHYSFS_getLastErrorCode(); } // clears it

    PHYSFS_ErrorCode last() const { return PHYSFS_getLastErrorCode(); }

    // Also true if there was no memory to keep an error, or if another thread lacked memory.
    bool lackedMemory() const { return archiveShortages != shortagesBefore_; }

private:
    unsigned shortagesBefore_ = archiveShortages;
};

bool saysMissing(PHYSFS_ErrorCode code);

// Whether a path can lead to an entry or a mount point: not if it has a "\", a ":" or a segment "."
// or "..", the last of which PhysicsFS would follow, or if its last name is a device's, which the
// system would open in a mounted directory, too. Ignores separators at the end, as PhysicsFS does.
bool staysInTree(std::string_view path);

struct EntryCloser {
    void operator()(PHYSFS_File* file) const { PHYSFS_close(file); }
};
using Entry = std::unique_ptr<PHYSFS_File, EntryCloser>;

struct Opened {
    Entry file;
    bool saidMissing; // the last place, at least, has no such file
};

// Opens the first copy of a file, and no copy from a later place if that one cannot be opened, for
// instance for want of a descriptor. The caller is inside archiveGate.
Opened openFirstCopy(const char* path);

// Reads until it has `count` bytes, because the system may read fewer at a time than it is asked
// for. Returns fewer at the end of the file or after an error.
std::size_t readEntry(PHYSFS_File* file, void* buffer, std::size_t count);

// An open file of the tree. As long as it lives, its archive and the tree stay.
class MountedFile {
public:
    // Null, with a log line, if the file cannot be opened.
    static std::unique_ptr<MountedFile> open(const char* path) noexcept;
    ~MountedFile();
    MountedFile(const MountedFile&) = delete;
    MountedFile& operator=(const MountedFile&) = delete;

    std::uint64_t size() const { return size_; }

    // Reads up to `count` bytes at a position. Fewer than that before the end mean an error.
    std::size_t readAt(std::uint64_t position, void* buffer, std::size_t count);

private:
    MountedFile() = default;

    core::Gate::Visit visit_{archiveGate};
    Entry file_;
    std::uint64_t size_ = 0;
    std::uint64_t position_ = 0;
};

} // namespace vfs

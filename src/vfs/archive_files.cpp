#include "VFS/Archive.h"

#include "vfs/archive_state.h"
#include "vfs/log.h"
#include "vfs/mounted_file.h"
#include "vfs/sized_memory.h"

#include <physfs.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <utility>

// Reads and lists files of the mounted tree. PhysicsFS holds its lock during each call, so nothing
// is unmounted in the middle of one. No place that a call has returned is used after it.
namespace {

using vfs::Errors;
using vfs::saysMissing;
using vfs::staysInTree;

// The length of a read is passed in 32 bits.
constexpr PHYSFS_sint64 kMaxLength = std::numeric_limits<std::uint32_t>::max();

constexpr std::size_t kMostNames = 1'000'000;

// How often an answer is tried for again if a mount or unmount in between has spoilt it.
constexpr int kAttempts = 8;

// True if nothing was mounted or unmounted since it was made.
class Quiet {
public:
    explicit operator bool() const {
        return changesBefore_ % 2 == 0 && vfs::archiveChanges == changesBefore_;
    }

private:
    unsigned changesBefore_ = vfs::archiveChanges;
};

struct Releaser {
    void operator()(void* buffer) const { vfs::releaseSized(buffer); }
};
using Buffer = std::unique_ptr<void, Releaser>;

using Names = std::set<std::string>;

void logFailure(const char* complaint, const char* path, const char* end = ".") {
    vfs::logLine(QZ_LOG_ERROR, "%s %s%s", complaint, path == nullptr ? "" : path, end);
}

vfs_kind kindOf(const PHYSFS_Stat& entry) {
    switch (entry.filetype) {
    case PHYSFS_FILETYPE_REGULAR:
        return VFS_KIND_FILE;
    case PHYSFS_FILETYPE_DIRECTORY:
        return VFS_KIND_DIRECTORY;
    default:
        return VFS_KIND_NONE;
    }
}

vfs_kind look(const char* path, std::uint64_t& size) {
    if (!staysInTree(path)) {
        return VFS_KIND_NONE;
    }
    const Errors errors;
    PHYSFS_Stat entry;
    const bool exists = PHYSFS_stat(path, &entry) != 0;
    if (errors.lackedMemory() || (!exists && !saysMissing(errors.last()))) {
        return VFS_KIND_UNKNOWN;
    }
    const vfs_kind kind = exists ? kindOf(entry) : VFS_KIND_NONE;
    size = kind == VFS_KIND_FILE && entry.filesize > 0 ? static_cast<std::uint64_t>(entry.filesize)
                                                       : 0;
    return kind;
}

bool isFile(const char* path) {
    std::uint64_t size = 0;
    const vfs_kind kind = look(path, size);
    return kind == VFS_KIND_FILE || kind == VFS_KIND_UNKNOWN;
}

struct Failure {
    const char* complaint = nullptr; // null if there is none
    const char* end = ".";
    bool saidMissing = false;
};

struct Contents {
    Buffer buffer;
    std::size_t size = 0;
};

Failure readWhole(const char* path, Contents& contents) {
    const auto [file, saidMissing] = vfs::openFirstCopy(path);
    if (!file) {
        return {"Can't open file", ".", saidMissing};
    }
    const PHYSFS_sint64 length = PHYSFS_fileLength(file.get());
    if (length < 0) {
        return {"Can't read file"};
    }
    if (length > kMaxLength) {
        return {"Error reading file"};
    }
    const auto size = static_cast<std::size_t>(length);
    Buffer buffer(vfs::allocateSized(size));
    if (!buffer) {
        return {"Can't read file", ". Out of memory."};
    }
    if (vfs::readEntry(file.get(), buffer.get(), size) != size) {
        return {"Error reading file"};
    }
    contents = {std::move(buffer), size};
    return {};
}

// Whether the file exists. `failure` is set if reading it failed.
bool readIfThere(const char* path, Contents& contents, Failure& failure) {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const Quiet quiet;
        failure = readWhole(path, contents);
        if (failure.complaint == nullptr) {
            return true;
        }
        if (!isFile(path)) {
            return false;
        }
        // A later place's "missing" may have hidden why an earlier place failed.
        if (!failure.saidMissing || quiet) {
            return true;
        }
    }
    return true;
}

PHYSFS_EnumerateCallbackResult addName(void* context, const char* /*directory*/, const char* name) {
    auto& names = *static_cast<Names*>(context);
    try {
        if (*name != 0 && staysInTree(name)) {
            names.emplace(name);
        }
    } catch (const std::bad_alloc&) {
        return PHYSFS_ENUM_ERROR;
    }
    return names.size() <= kMostNames ? PHYSFS_ENUM_OK : PHYSFS_ENUM_ERROR;
}

bool collectNames(const char* path, Names& names) {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        names.clear();
        const Errors errors;
        if (PHYSFS_enumerate(path, addName, &names) != 0) {
            return !errors.lackedMemory();
        }
        if (errors.last() != PHYSFS_ERR_NOT_FOUND) {
            return false;
        }
        // An entry was removed during the enumeration, which made it fail.
    }
    return false;
}

vfs_kind listNames(const char* path, Names& names) {
    if (!staysInTree(path)) {
        return VFS_KIND_NONE;
    }
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const Quiet quiet;
        std::uint64_t size = 0;
        const vfs_kind kind = look(path, size);
        if (kind == VFS_KIND_UNKNOWN) {
            return kind;
        }
        if (!collectNames(path, names)) {
            return VFS_KIND_UNKNOWN;
        }
        if (!names.empty()) {
            // Files in a folder can be read even if an earlier place has a file of the folder's
            // name.
            return VFS_KIND_DIRECTORY;
        }
        if (kind != VFS_KIND_DIRECTORY || quiet) {
            return kind;
        }
    }
    return VFS_KIND_DIRECTORY;
}

} // namespace

extern "C" {

void* vfs_read_file(const char* path, uint64_t* size) {
    if (size != nullptr) {
        *size = 0;
    }
    Contents contents;
    const vfs::ArchiveVisit visit;
    Failure failure =
        visit && path != nullptr ? readWhole(path, contents) : Failure{"Can't open file"};
    if (failure.complaint == nullptr && contents.size == 0) {
        failure = {"Can't read file"};
    }
    if (failure.complaint != nullptr) {
        logFailure(failure.complaint, path, failure.end);
        return nullptr;
    }
    if (size != nullptr) {
        *size = contents.size;
    }
    return contents.buffer.release();
}

int vfs_read_optional_file(const char* path, void** buffer, uint64_t* size) {
    if (buffer != nullptr) {
        *buffer = nullptr;
    }
    if (size != nullptr) {
        *size = 0;
    }
    Contents contents;
    const vfs::ArchiveVisit visit;
    Failure failure{"Can't open file"};
    const bool isAsked = visit && path != nullptr && buffer != nullptr;
    if (isAsked && !readIfThere(path, contents, failure)) {
        return 0;
    }
    if (failure.complaint != nullptr) {
        logFailure(failure.complaint, path, failure.end);
        return -1;
    }
    if (size != nullptr) {
        *size = contents.size;
    }
    *buffer = contents.buffer.release();
    return 1;
}

void vfs_free_file_buffer(void* buffer) {
    vfs::releaseSized(buffer);
}

vfs_kind vfs_get_kind(const char* path, uint64_t* size) {
    std::uint64_t found = 0;
    const vfs::ArchiveVisit visit;
    const vfs_kind kind = visit && path != nullptr ? look(path, found) : VFS_KIND_UNKNOWN;
    if (kind == VFS_KIND_UNKNOWN) {
        logFailure("Can't look for", path);
    }
    if (size != nullptr) {
        *size = found;
    }
    return kind;
}

int vfs_list(const char* path, vfs_list_callback callback, void* context) {
    Names names;
    vfs_kind kind = VFS_KIND_UNKNOWN;
    {
        const vfs::ArchiveVisit visit;
        kind = visit && path != nullptr && callback != nullptr ? listNames(path, names)
                                                               : VFS_KIND_UNKNOWN;
    }
    if (kind == VFS_KIND_UNKNOWN) {
        logFailure("Can't list directory", path);
        return -1;
    }
    for (const std::string& name : names) {
        callback(context, name.c_str());
    }
    return kind == VFS_KIND_DIRECTORY ? 1 : 0;
}

} // extern "C"

#include "VFS/Archive.h"

#include "VFS/File.h"
#include "core/library_log.h"
#include "vfs/archive_io.h"
#include "vfs/archive_state.h"
#include "vfs/mounted_file.h"
#include "vfs/reserve.h"
#include "vfs/sized_memory.h"
#include "vfs/zip_archive.h"

#include <physfs.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <mutex>

constinit core::Gate vfs::archiveGate;
constinit std::atomic<unsigned> vfs::archiveShortages{0};
constinit std::atomic<unsigned> vfs::archiveChanges{0};

namespace {

constexpr std::size_t kPathRoom = 256;

constexpr char kNoSuffix[] = "";

// An archive of each kind is looked for beside every path that is mounted: the path with the
// suffix. The archiver reads it for PhysicsFS, and checks it before it accepts it. PhysicsFS offers
// an archive to one archiver after another until one claims it, so an archiver says nothing of an
// archive that it does not claim.
struct ArchiveKind {
    const char* suffix;
    const PHYSFS_Archiver& archiver;
};

constexpr ArchiveKind kArchiveKinds[] = {
    {".zip", vfs::kZipArchiver},
};

void* noteShortage(void* block) {
    vfs::archiveShortages += block == nullptr ? 1U : 0U;
    return block;
}

void* allocateForPhysicsFs(PHYSFS_uint64 size) {
    void* const block = vfs::allocateRecycled(size);
    return block == nullptr ? noteShortage(vfs::Reserve::take(size)) : block;
}

const PHYSFS_Allocator kAllocator = {
    [] { return 1; },
    [] {},
    allocateForPhysicsFs,
    [](void* block, PHYSFS_uint64 size) { return noteShortage(vfs::reallocateSized(block, size)); },
    [](void* block) { vfs::releaseRecycled(block); },
};

// One thread at a time starts PhysicsFS, mounts or unmounts.
class Change {
public:
    Change() : turn_(turns()) { ++vfs::archiveChanges; }
    ~Change() { ++vfs::archiveChanges; }
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

private:
    static std::mutex& turns() {
        static std::mutex mutex; // not constinit: its constructor is not constexpr on Windows
        return mutex;
    }

    std::lock_guard<std::mutex> turn_;
};

// The path by which PhysicsFS knows a mounted directory or archive. It has slashes, because
// PhysicsFS hands it to the system, and every system accepts slashes. A path that does not fit
// becomes empty, and an empty path cannot be mounted.
class MountedName {
public:
    MountedName(const char* path, const char* suffix) {
        const int length = std::snprintf(text_, sizeof text_, "%s%s", path, suffix);
        if (length < 0 || static_cast<std::size_t>(length) >= sizeof text_) {
            text_[0] = 0;
        }
        std::replace(text_, text_ + std::strlen(text_), '\\', '/');
    }

    const char* text() const { return text_; }

private:
    char text_[kPathRoom];
};

// Removes PhysicsFS's own archivers, because they trust archives. A PhysicsFS that was built
// without archivers has no list of them.
bool leaveOnlyOurKinds() {
    const PHYSFS_ArchiveInfo** const type = PHYSFS_supportedArchiveTypes();
    while (type != nullptr && *type != nullptr) {
        // Each removal moves the following ones down.
        if (PHYSFS_deregisterArchiver((*type)->extension) == 0) {
            return false;
        }
    }
    return std::all_of(
        std::begin(kArchiveKinds), std::end(kArchiveKinds),
        [](const ArchiveKind& kind) { return PHYSFS_registerArchiver(&kind.archiver) != 0; });
}

// PhysicsFS forgets its error if it does not start, except that it was started before.
const char* reasonOf(const vfs::Errors& errors) {
    if (errors.lackedMemory()) {
        return "out of memory";
    }
    const PHYSFS_ErrorCode error = errors.last();
    return error == PHYSFS_ERR_OK ? "it finds no home directory" : PHYSFS_getErrorByCode(error);
}

// PhysicsFS does not start without the program's path, which Linux does not tell where /proc is not
// mounted. Nothing here depends on it.
constexpr char kAnyProgram[] = "/program";

// Null, or why it failed.
const char* startPhysicsFs() {
    const Change change;
    const vfs::Errors errors;
    const vfs::Reserve reserve;
    if (!reserve) {
        return "out of memory";
    }
    if (PHYSFS_init(nullptr) == 0 && (errors.lackedMemory() || PHYSFS_init(kAnyProgram) == 0)) {
        return reasonOf(errors);
    }
    if (!leaveOnlyOurKinds()) {
        const char* const reason = reasonOf(errors);
        PHYSFS_deinit();
        return reason;
    }
    return nullptr;
}

// Only such files are mounted: PhysicsFS would open a pipe and wait for its other end.
bool isOrdinaryFile(const char* path) {
    VFS_File* const file = VFS_open_read(path);
    VFS_close(file);
    return file != nullptr;
}

// PhysicsFS may stay in the process when this library is unloaded, so it must not keep the
// allocator.
void takeAllocatorBack() {
    PHYSFS_setAllocator(nullptr);
    vfs::dropRecycled();
}

// As PHYSFS_mount.
int mountArchive(const char* name, const char* point, int append) {
    if (PHYSFS_getMountPoint(name) != nullptr) {
        return 1; // it stays where it is
    }
    vfs::Io io = vfs::openArchiveIo(name);
    const int result = io ? PHYSFS_mountIo(io.get(), name, point, append) : 0;
    if (result != 0) {
        static_cast<void>(io.release()); // is PhysicsFS's own now
    }
    return result;
}

int mountOne(const char* path, const char* suffix, const char* point, int append) {
    const MountedName name(path, suffix);
    const bool isDirectory = VFS_isdir(name.text()) != 0;
    if (!isDirectory && !isOrdinaryFile(name.text())) {
        return 0;
    }
    const vfs::Reserve reserve;
    const auto mount = isDirectory ? PHYSFS_mount : mountArchive;
    const int result = reserve ? mount(name.text(), point, append) : 0;
    if (result != 0) {
        qz_logf(vfs::kArchiveModule, QZ_LOG_DEBUG, "Mounted %s%s to %s.", path, suffix, point);
    } else if (reserve && PHYSFS_getLastErrorCode() == PHYSFS_ERR_UNSUPPORTED) {
        qz_logf(vfs::kArchiveModule, QZ_LOG_WARNING,
                "%s is refused: it is no archive, or its end is missing.", name.text());
    }
    return result;
}

int mountArchives(const char* path, const char* point, int append) {
    int result = 0;
    for (const ArchiveKind& kind : kArchiveKinds) {
        if (const int mounted = mountOne(path, kind.suffix, point, append)) {
            result = mounted;
        }
    }
    return result;
}

// In both cases the directory is searched before its archives.
int mountAll(const char* path, const char* point, int append) {
    int directory = 0;
    int archives = 0;
    if (append != 0) {
        directory = mountOne(path, kNoSuffix, point, 1);
        archives = mountArchives(path, point, 1);
    } else {
        archives = mountArchives(path, point, 0);
        directory = mountOne(path, kNoSuffix, point, 0);
    }
    return directory != 0 ? directory : archives;
}

int unmountOne(const char* path, const char* suffix) {
    const int result = PHYSFS_unmount(MountedName(path, suffix).text());
    if (result != 0) {
        qz_logf(vfs::kArchiveModule, QZ_LOG_DEBUG, "Unmounted %s%s.", path, suffix);
    }
    return result;
}

int unmountAll(const char* path) {
    int result = unmountOne(path, kNoSuffix);
    for (const ArchiveKind& kind : kArchiveKinds) {
        if (const int unmounted = unmountOne(path, kind.suffix)) {
            result = unmounted;
        }
    }
    return result;
}

} // namespace

extern "C" {

void vfs_init(void) {
    const platform::NoCancellation guard;
    if (!vfs::archiveGate.isOpen()) {
        PHYSFS_setAllocator(&kAllocator);
        if (const char* const reason = startPhysicsFs()) {
            takeAllocatorBack();
            qz_logf(vfs::kArchiveModule, QZ_LOG_ERROR, "Can't start PhysicsFS: %s.", reason);
            return;
        }
        vfs::archiveGate.open();
    }
    vfs_mount("./Temp", "/tmp/", 1);
}

void vfs_deinit(void) {
    const platform::NoCancellation guard;
    if (vfs::archiveGate.close()) {
        PHYSFS_deinit();
        takeAllocatorBack();
    }
}

int vfs_mount(const char* path, const char* mount_point, int append) {
    const char* const point = mount_point == nullptr ? "/" : mount_point;
    const vfs::ArchiveVisit visit;
    const Change change;
    const bool isSound = path != nullptr && vfs::staysInTree(point);
    const int result = visit && isSound ? mountAll(path, point, append) : 0;
    if (result == 0) {
        qz_logf(vfs::kArchiveModule, QZ_LOG_ERROR, "Can't mount '%s' to '%s'.",
                path == nullptr ? "" : path, point);
    }
    return result;
}

int vfs_unmount(const char* path) {
    const vfs::ArchiveVisit visit;
    const Change change;
    const int result = visit && path != nullptr ? unmountAll(path) : 0;
    if (result == 0) {
        qz_logf(vfs::kArchiveModule, QZ_LOG_ERROR, "Can't unmount '%s'.",
                path == nullptr ? "" : path);
    }
    return result;
}

} // extern "C"

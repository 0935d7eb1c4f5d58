#include "VFS/Archive.h"

#include "VFS/File.h"
#include "core/cut_text.h"
#include "core/gate.h"
#include "core/library_log.h"
#include "platform/files.h"
#include "vfs/reserve.h"
#include "vfs/sized_memory.h"
#include "vfs/zip_check.h"

#include <physfs.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>

namespace {

constexpr char kModule[] = "VFS";
constexpr std::size_t kPathRoom = 256;

// The length of a read is passed in 32 bits.
constexpr PHYSFS_sint64 kMaxLength = std::numeric_limits<std::uint32_t>::max();

// Tried beside every path that is mounted.
constexpr const char* kArchiveSuffixes[] = {".zip"};
constexpr char kNoSuffix[] = "";

void* allocateForPhysicsFs(PHYSFS_uint64 size) {
    void* const block = vfs::allocateRecycled(size);
    return block == nullptr ? vfs::Reserve::take(size) : block;
}

const PHYSFS_Allocator kAllocator = {
    [] { return 1; },
    [] {},
    allocateForPhysicsFs,
    [](void* block, PHYSFS_uint64 size) { return vfs::reallocateSized(block, size); },
    [](void* block) { vfs::releaseRecycled(block); },
};

// PhysicsFS cannot be taken down under a thread that still reads.
constinit core::Gate gate;

struct Closer {
    void operator()(PHYSFS_File* file) const { PHYSFS_close(file); }
};
using File = std::unique_ptr<PHYSFS_File, Closer>;

struct Releaser {
    void operator()(void* buffer) const { vfs::releaseSized(buffer); }
};
using Buffer = std::unique_ptr<void, Releaser>;

// What PhysicsFS knows a mounted directory or archive by. It hands the path to the system, and
// every system takes slashes. What does not fit becomes the empty path, which cannot be mounted.
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

// The other kinds of archives are no part of the interface, and their readers no safer than that of
// zip files.
void leaveOnlyZip() {
    const PHYSFS_ArchiveInfo** type = PHYSFS_supportedArchiveTypes();
    while (*type != nullptr) {
        const char* extension = (*type)->extension;
        // Removing one moves the following ones down.
        if (std::strcmp(extension, "ZIP") == 0 || PHYSFS_deregisterArchiver(extension) == 0) {
            ++type;
        }
    }
}

bool startPhysicsFs() {
    const vfs::Reserve reserve;
    return reserve && PHYSFS_init(nullptr) != 0;
}

// PhysicsFS may stay in the process when this library goes.
void takeAllocatorBack() {
    PHYSFS_setAllocator(nullptr);
    vfs::dropRecycled();
}

int mountOne(const char* path, const char* suffix, const char* point, int append) {
    const MountedName name(path, suffix);
    if (VFS_isdir(name.text()) == 0 && !vfs::isSoundZip(name.text())) {
        return 0;
    }
    const vfs::Reserve reserve;
    const int result = reserve ? PHYSFS_mount(name.text(), point, append) : 0;
    if (result != 0) {
        qz_logf(kModule, QZ_LOG_DEBUG, "Mounted %s%s to %s.", path, suffix, point);
    }
    return result;
}

int mountArchives(const char* path, const char* point, int append) {
    int result = 0;
    for (const char* suffix : kArchiveSuffixes) {
        if (const int mounted = mountOne(path, suffix, point, append)) {
            result = mounted;
        }
    }
    return result;
}

// Either way round, the directory ends up in front of its archives.
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
        qz_logf(kModule, QZ_LOG_DEBUG, "Unmounted %s%s.", path, suffix);
    }
    return result;
}

int unmountAll(const char* path) {
    int result = unmountOne(path, kNoSuffix);
    for (const char* suffix : kArchiveSuffixes) {
        if (const int unmounted = unmountOne(path, suffix)) {
            result = unmounted;
        }
    }
    return result;
}

void* refuse(const char* complaint, const char* path, const char* end = ".") {
    qz_logf(kModule, QZ_LOG_ERROR, "%s %s%s", complaint, path, end);
    return nullptr;
}

// PhysicsFS goes on to an older copy if it cannot open the one that counts, for want of a
// descriptor, for example. What it met on the way it keeps as the thread's last error.
bool isFirstCopy() {
    switch (PHYSFS_getLastErrorCode()) {
    case PHYSFS_ERR_OK:
    case PHYSFS_ERR_NOT_FOUND:
    case PHYSFS_ERR_NOT_A_FILE:
    case PHYSFS_ERR_BAD_FILENAME:
    case PHYSFS_ERR_SYMLINK_FORBIDDEN:
        return true;
    default:
        return false;
    }
}

// In a mounted directory the system would find devices, too, by the last name of a path. PhysicsFS
// leaves out separators before and behind it.
bool endsInDevice(std::string_view path) {
    path = path.substr(0, path.find_last_not_of('/') + 1);
    path.remove_prefix(path.rfind('/') + 1);
    char name[kPathRoom] = "";
    path.copy(name, core::lengthToKeep(path, sizeof name - 1));
    return platform::leadsToDevice(name);
}

File openFirstCopy(const char* path) {
    if (endsInDevice(path)) {
        return nullptr;
    }
    PHYSFS_getLastErrorCode(); // forgets it
    File file(PHYSFS_openRead(path));
    return file && isFirstCopy() ? std::move(file) : nullptr;
}

// The system may read less at a time than it is asked for.
bool readAll(PHYSFS_File* file, void* buffer, std::size_t length) {
    auto* const bytes = static_cast<std::byte*>(buffer);
    for (std::size_t done = 0; done < length;) {
        const PHYSFS_sint64 count = PHYSFS_readBytes(file, bytes + done, length - done);
        if (count <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

} // namespace

extern "C" {

void vfs_init(void) {
    if (!gate.isOpen()) {
        PHYSFS_setAllocator(&kAllocator);
        if (startPhysicsFs()) {
            leaveOnlyZip();
            gate.open();
        } else {
            takeAllocatorBack();
        }
    }
    vfs_mount("./Temp", "/tmp/", 1);
}

void vfs_deinit(void) {
    if (gate.close()) {
        PHYSFS_deinit();
        takeAllocatorBack();
    }
}

int vfs_mount(const char* path, const char* mount_point, int append) {
    const char* const point = mount_point == nullptr ? "/" : mount_point;
    const core::Gate::Visit visit(gate);
    const int result = visit && path != nullptr ? mountAll(path, point, append) : 0;
    if (result == 0) {
        qz_logf(kModule, QZ_LOG_ERROR, "Can't mount '%s' to '%s'.", path == nullptr ? "" : path,
                point);
    }
    return result;
}

int vfs_unmount(const char* path) {
    const core::Gate::Visit visit(gate);
    const int result = visit && path != nullptr ? unmountAll(path) : 0;
    if (result == 0) {
        qz_logf(kModule, QZ_LOG_ERROR, "Can't unmount '%s'.", path == nullptr ? "" : path);
    }
    return result;
}

void* vfs_read_file(const char* path, uint64_t* size) {
    if (size != nullptr) {
        *size = 0;
    }
    const core::Gate::Visit visit(gate);
    const File file = visit && path != nullptr ? openFirstCopy(path) : nullptr;
    if (!file) {
        return refuse("Can't open file", path == nullptr ? "" : path);
    }
    const PHYSFS_sint64 length = PHYSFS_fileLength(file.get());
    if (length <= 0) {
        return refuse("Can't read file", path);
    }
    if (length > kMaxLength) {
        return refuse("Error reading file", path);
    }
    const auto count = static_cast<std::size_t>(length);
    Buffer buffer(vfs::allocateSized(count));
    if (!buffer) {
        return refuse("Can't read file", path, ". Out of memory.");
    }
    if (!readAll(file.get(), buffer.get(), count)) {
        return refuse("Error reading file", path);
    }
    if (size != nullptr) {
        *size = count;
    }
    return buffer.release();
}

void vfs_free_file_buffer(void* buffer) {
    vfs::releaseSized(buffer);
}

} // extern "C"

#include "vfs/zip_archive.h"

#include "core/library_log.h"
#include "vfs/archive_io.h"
#include "vfs/archive_state.h"
#include "vfs/mounted_file.h"
#include "vfs/zip_directory.h"
#include "vfs/zip_file.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace vfs {

namespace {

// How many closed files are kept for the next ones to be opened: of an archive, and of all
// archives. Each has a buffer, and most have an inflater.
constexpr std::size_t kMostIdle = 2;
constexpr std::size_t kMostIdleOfAll = 32;

constinit std::atomic<std::size_t> idleOfAll{0};

std::nullptr_t fail(PHYSFS_ErrorCode code) {
    PHYSFS_setErrorCode(code);
    return nullptr;
}

// Why a file cannot be read, or null.
const char* flawOf(ZipContent content) {
    switch (content) {
    case ZipContent::encrypted:
        return "it is encrypted";
    case ZipContent::otherMethod:
        return "it is packed by a method that is not supported";
    case ZipContent::implausible:
        return "its size or place is impossible";
    default:
        return nullptr;
    }
}

class ZipArchive;

// A file as PhysicsFS knows it.
struct OpenFile {
    OpenFile(ZipArchive& owner, Io source);

    PHYSFS_Io io;
    ZipFile file;
    ZipArchive& archive;
    const ZipIndex::Node* node = nullptr;
};

// Any thread may use the index, because it does not change once it is read.
class ZipArchive {
public:
    ZipArchive(PHYSFS_Io& io, const ZipExtent& extent, const char* name)
        : io_(io), dataEnd_(extent.start), name_(name), index_(extent.entries) {
        idle_.reserve(kMostIdle);
    }
    ~ZipArchive() { idleOfAll -= idle_.size(); }
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;

    const char* readDirectory(const ZipExtent& extent) {
        const char* const refusal = readZipDirectory(io_, extent, name_.c_str(), index_);
        index_.finish();
        return refusal;
    }

    // The archive owns its source from now on.
    void keepSource() { source_.reset(&io_); }

    const ZipIndex& index() const { return index_; }

    // Null, with PhysicsFS's error set, on failure. Throws std::bad_alloc.
    PHYSFS_Io* open(const ZipIndex::Node& node) {
        if (const char* const flaw = flawOf(node.entry().content)) {
            complain(node, flaw);
            return fail(PHYSFS_ERR_UNSUPPORTED);
        }
        std::unique_ptr<OpenFile> opened = takeIdle();
        if (!opened) {
            const PHYSFS_ErrorCode error = PHYSFS_getLastErrorCode();
            complain(node, "the archive cannot be opened");
            // "Missing" would let PhysicsFS's callers take a later mount's file for the first one.
            return fail(saysMissing(error) ? PHYSFS_ERR_IO : error);
        }
        opened->node = &node;
        if (const char* const flaw =
                opened->file.open(node.entry(), index_.nameOf(node), dataEnd_)) {
            complain(node, flaw); // and drops the view: a host's Io may have opened another archive
            return fail(PHYSFS_ERR_CORRUPT);
        }
        return &opened.release()->io;
    }

    void close(std::unique_ptr<OpenFile> file) {
        const std::lock_guard lock(mutex_);
        if (idle_.size() < kMostIdle) {
            if (idleOfAll++ < kMostIdleOfAll) {
                idle_.push_back(std::move(file));
            } else {
                --idleOfAll;
            }
        }
    }

    void complain(const ZipIndex::Node& node, const char* flaw) const {
        logZipFlaw(name_.c_str(), index_.nameOf(node), flaw);
    }

private:
    // Null, with PhysicsFS's error set, if memory runs out, or if a host's own Io, which may open
    // the archive by its path again, fails.
    std::unique_ptr<OpenFile> takeIdle() {
        const std::lock_guard lock(mutex_);
        if (idle_.empty()) {
            Io view(io_.duplicate(&io_));
            return view ? std::make_unique<OpenFile>(*this, std::move(view)) : nullptr;
        }
        std::unique_ptr<OpenFile> file = std::move(idle_.back());
        idle_.pop_back();
        --idleOfAll;
        return file;
    }

    PHYSFS_Io& io_; // is duplicated for each view
    Io source_;
    std::uint64_t dataEnd_;
    std::string name_;
    ZipIndex index_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<OpenFile>> idle_;
};

OpenFile& openFile(PHYSFS_Io* io) {
    return *static_cast<OpenFile*>(io->opaque);
}

PHYSFS_sint64 readFile(PHYSFS_Io* io, void* buffer, PHYSFS_uint64 length) {
    OpenFile& self = openFile(io);
    const std::uint64_t left = self.file.size() - self.file.position();
    const std::uint64_t count = std::min<std::uint64_t>(length, left);
    if (const char* const flaw = self.file.read(buffer, static_cast<std::size_t>(count))) {
        self.archive.complain(*self.node, flaw);
        PHYSFS_setErrorCode(PHYSFS_ERR_CORRUPT);
        return -1;
    }
    return static_cast<PHYSFS_sint64>(count);
}

int seekFile(PHYSFS_Io* io, PHYSFS_uint64 position) {
    ZipFile& file = openFile(io).file;
    if (position > file.size()) {
        PHYSFS_setErrorCode(PHYSFS_ERR_PAST_EOF);
        return 0;
    }
    file.seek(position);
    return 1;
}

PHYSFS_sint64 tellFile(PHYSFS_Io* io) {
    return static_cast<PHYSFS_sint64>(openFile(io).file.position());
}

PHYSFS_sint64 lengthOfFile(PHYSFS_Io* io) {
    return static_cast<PHYSFS_sint64>(openFile(io).file.size());
}

PHYSFS_Io* duplicateFile(PHYSFS_Io* io) {
    const OpenFile& self = openFile(io);
    try {
        return self.archive.open(*self.node);
    } catch (const std::bad_alloc&) {
        return failForMemory();
    }
}

void closeFile(PHYSFS_Io* io) {
    OpenFile& self = openFile(io);
    self.archive.close(std::unique_ptr<OpenFile>(&self));
}

OpenFile::OpenFile(ZipArchive& owner, Io source)
    : io{.version = 0,
         .opaque = this,
         .read = readFile,
         .write = nullptr,
         .seek = seekFile,
         .tell = tellFile,
         .length = lengthOfFile,
         .duplicate = duplicateFile,
         .flush = nullptr,
         .destroy = closeFile}
    , file(std::move(source))
    , archive(owner) {}

const ZipArchive& archiveOf(void* opaque) {
    return *static_cast<const ZipArchive*>(opaque);
}

const ZipIndex::Node* find(void* archive, const char* name) {
    const ZipIndex::Node* const node = archiveOf(archive).index().find(name);
    return node != nullptr ? node : fail(PHYSFS_ERR_NOT_FOUND);
}

void* mountArchive(PHYSFS_Io& io, const char* name, int& claimed) {
    const ZipExtent extent = findZipDirectory(io);
    if (!extent.isZip) {
        return fail(PHYSFS_ERR_UNSUPPORTED); // another archiver may know it
    }
    claimed = 1;
    const char* refusal = extent.flaw;
    if (refusal == nullptr) {
        auto archive = std::make_unique<ZipArchive>(io, extent, name);
        refusal = archive->readDirectory(extent);
        if (refusal == nullptr) {
            archive->keepSource();
            if (extent.behind != 0) {
                qz_logf(kArchiveModule, QZ_LOG_WARNING, "%s: %llu bytes are behind its end.", name,
                        static_cast<unsigned long long>(extent.behind));
            }
            return archive.release();
        }
    }
    qz_logf(kArchiveModule, QZ_LOG_WARNING, "%s is refused: %s.", name, refusal);
    return fail(PHYSFS_ERR_CORRUPT);
}

void* openArchive(PHYSFS_Io* io, const char* name, int forWriting, int* claimed) {
    if (forWriting != 0) {
        return fail(PHYSFS_ERR_READ_ONLY);
    }
    try {
        return mountArchive(*io, name, *claimed);
    } catch (const std::bad_alloc&) {
        *claimed = 1; // else PhysicsFS would say that nobody knows the archive
        return failForMemory();
    }
}

PHYSFS_EnumerateCallbackResult enumerate(void* opaque, const char* folder,
                                         PHYSFS_EnumerateCallback callback, const char* path,
                                         void* context) {
    const ZipIndex& index = archiveOf(opaque).index();
    const ZipIndex::Node* const parent = find(opaque, folder);
    if (parent == nullptr) {
        return PHYSFS_ENUM_ERROR;
    }
    try {
        std::string name;
        for (auto* node = index.firstIn(*parent); node != nullptr; node = index.nextTo(*node)) {
            const std::string_view whole = index.nameOf(*node);
            name = whole.substr(whole.rfind('/') + 1);
            const PHYSFS_EnumerateCallbackResult result = callback(context, path, name.c_str());
            if (result == PHYSFS_ENUM_ERROR) {
                PHYSFS_setErrorCode(PHYSFS_ERR_APP_CALLBACK);
            }
            if (result != PHYSFS_ENUM_OK) {
                return result;
            }
        }
        return PHYSFS_ENUM_OK;
    } catch (const std::bad_alloc&) {
        failForMemory();
        return PHYSFS_ENUM_ERROR;
    }
}

PHYSFS_Io* openRead(void* opaque, const char* name) {
    const ZipIndex::Node* const node = find(opaque, name);
    if (node == nullptr) {
        return nullptr;
    }
    if (node->isFolder()) {
        return fail(PHYSFS_ERR_NOT_A_FILE);
    }
    try {
        return static_cast<ZipArchive*>(opaque)->open(*node);
    } catch (const std::bad_alloc&) {
        return failForMemory();
    }
}

int look(void* opaque, const char* name, PHYSFS_Stat* found) {
    const ZipIndex::Node* const node = find(opaque, name);
    if (node == nullptr) {
        return 0;
    }
    const bool isFolder = node->isFolder();
    *found = {isFolder ? -1 : static_cast<PHYSFS_sint64>(node->entry().size), -1, -1, -1,
              isFolder ? PHYSFS_FILETYPE_DIRECTORY : PHYSFS_FILETYPE_REGULAR, 1};
    return 1;
}

PHYSFS_Io* refuseToOpen(void* /*archive*/, const char* /*name*/) {
    return fail(PHYSFS_ERR_READ_ONLY);
}

int refuseToChange(void* /*archive*/, const char* /*name*/) {
    PHYSFS_setErrorCode(PHYSFS_ERR_READ_ONLY);
    return 0;
}

void closeArchive(void* opaque) {
    delete static_cast<ZipArchive*>(opaque);
}

} // namespace

const PHYSFS_Archiver kZipArchiver = {
    0,
    {"ZIP", "Zip archives, checked", "the qzCore developers", "", 0},
    openArchive,
    enumerate,
    openRead,
    refuseToOpen,
    refuseToOpen,
    refuseToChange,
    refuseToChange,
    look,
    closeArchive,
};

} // namespace vfs

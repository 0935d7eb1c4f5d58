#include "vfs/archive_io.h"

#include "platform/files.h"
#include "vfs/archive_state.h"

#include <cstdint>
#include <new>
#include <utility>

namespace vfs {

namespace {

class ArchiveFile {
public:
    explicit ArchiveFile(const char* path)
        : handle_(platform::openFile(path, platform::FileAccess::read, error_)) {}
    ~ArchiveFile() {
        if (isOpen()) {
            platform::closeFile(handle_);
        }
    }
    ArchiveFile(const ArchiveFile&) = delete;
    ArchiveFile& operator=(const ArchiveFile&) = delete;

    bool isOpen() const { return handle_ != platform::kNoFile; }

    // -1 if the system does not say.
    PHYSFS_sint64 size() const {
        std::int64_t size = 0;
        return platform::sizeFile(handle_, size) == 0 ? size : -1;
    }

    // The number of bytes; -1 if reading failed.
    PHYSFS_sint64 read(std::uint64_t position, void* to, std::size_t count) const {
        platform::SystemError error = 0;
        const std::size_t done = platform::readFileAt(handle_, position, to, count, error);
        return error == 0 ? static_cast<PHYSFS_sint64>(done) : -1;
    }

private:
    platform::SystemError error_ = 0;
    platform::FileHandle handle_;
};

using SharedFile = std::shared_ptr<const ArchiveFile>;

// A position in the file.
struct View {
    explicit View(SharedFile shared);

    PHYSFS_Io io;
    SharedFile file;
    std::uint64_t position = 0;
};

View& viewOf(PHYSFS_Io* io) {
    return *static_cast<View*>(io->opaque);
}

PHYSFS_sint64 read(PHYSFS_Io* io, void* to, PHYSFS_uint64 count) {
    View& view = viewOf(io);
    const PHYSFS_sint64 done = view.file->read(view.position, to, static_cast<std::size_t>(count));
    if (done < 0) {
        PHYSFS_setErrorCode(PHYSFS_ERR_IO);
        return -1;
    }
    view.position += static_cast<std::uint64_t>(done);
    return done;
}

int seek(PHYSFS_Io* io, PHYSFS_uint64 position) {
    viewOf(io).position = position;
    return 1;
}

PHYSFS_sint64 tell(PHYSFS_Io* io) {
    return static_cast<PHYSFS_sint64>(viewOf(io).position);
}

PHYSFS_sint64 length(PHYSFS_Io* io) {
    return viewOf(io).file->size();
}

PHYSFS_Io* duplicate(PHYSFS_Io* io) {
    View* const view = new (std::nothrow) View(viewOf(io).file);
    return view != nullptr ? &view->io : failForMemory();
}

void destroy(PHYSFS_Io* io) {
    delete &viewOf(io);
}

View::View(SharedFile shared)
    : io{.version = 0,
         .opaque = this,
         .read = read,
         .write = nullptr,
         .seek = seek,
         .tell = tell,
         .length = length,
         .duplicate = duplicate,
         .flush = nullptr,
         .destroy = destroy}
    , file(std::move(shared)) {}

} // namespace

std::nullptr_t failForMemory() {
    ++archiveShortages;
    PHYSFS_setErrorCode(PHYSFS_ERR_OUT_OF_MEMORY);
    return nullptr;
}

Io openArchiveIo(const char* path) {
    try {
        auto file = std::make_shared<const ArchiveFile>(path);
        if (!file->isOpen()) {
            PHYSFS_setErrorCode(PHYSFS_ERR_OS_ERROR);
            return nullptr;
        }
        return Io(&(new View(std::move(file)))->io);
    } catch (const std::bad_alloc&) {
        return Io(failForMemory());
    }
}

} // namespace vfs

#include "vfs/archive_io.h"

#include "platform/file.h"
#include "platform/file_id.h"
#include "vfs/archive_state.h"

#include <cstdint>
#include <new>
#include <utility>

namespace vfs {

namespace {

// It is open for long, and the host may close it meanwhile, as daemons close all descriptors.
struct ArchiveFile : platform::File {
    explicit ArchiveFile(const char* path) : File(path, platform::FileAccess::read) {}
    ArchiveFile(ArchiveFile&&) = delete;
    ArchiveFile& operator=(ArchiveFile&&) = delete;
    ~ArchiveFile() {
        if (!id.isOf(handle())) {
            release();
        }
    }

    const platform::FileId id{handle()};
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
    platform::SystemError error = 0;
    const std::size_t done =
        view.file->readAt(view.position, to, static_cast<std::size_t>(count), error);
    if (error != 0) {
        PHYSFS_setErrorCode(PHYSFS_ERR_IO);
        return -1;
    }
    view.position += done;
    return static_cast<PHYSFS_sint64>(done);
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
        failForMemory();
        return nullptr;
    }
}

} // namespace vfs

#include "platform/mapped_file.h"

#include "platform/posix/descriptor.h"
#include "platform/posix/last_error.h"
#include "platform/posix/path.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

namespace {

// The file itself serves as its mapping. The handle is one more, because 0 stands for none.
int fileOf(MappingHandle mapping) {
    return static_cast<int>(mapping - 1);
}

char* map(MappingHandle mapping, int protection, int kind, std::uint32_t size, SystemError& error) {
    void* const view = mmap(nullptr, size, protection, kind, fileOf(mapping), 0);
    error = view == MAP_FAILED ? lastError() : 0;
    return view == MAP_FAILED ? nullptr : static_cast<char*>(view);
}

} // namespace

std::uint32_t pageSize() {
    return static_cast<std::uint32_t>(sysconf(_SC_PAGESIZE));
}

SystemError lastSystemError() {
    return lastError();
}

FileHandle openFileToMap(const char* path, bool readOnly, SystemError& error) {
    // Opening a pipe would wait for its other end without O_NONBLOCK.
    const std::string native = nativePath(path);
    const int file = aboveStandardStreams(uninterrupted([&] {
        return open(native.c_str(),
                    (readOnly ? O_RDONLY : O_RDWR) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    }));
    error = file < 0 ? lastError() : static_cast<SystemError>(requireOrdinaryFile(file));
    if (file >= 0 && error != 0) {
        close(file);
        return kNoFile;
    }
    if (file >= 0) {
        posix_fadvise(file, 0, 0, POSIX_FADV_RANDOM);
    }
    return file;
}

MappingHandle createMapping(FileHandle file, bool, std::uint32_t, SystemError& error) {
    error = 0;
    return file + 1;
}

void closeMapping(MappingHandle) {}

char* mapView(MappingHandle mapping, bool readOnly, std::uint32_t size, SystemError& error) {
    return map(mapping, readOnly ? PROT_READ : PROT_READ | PROT_WRITE, MAP_SHARED, size, error);
}

void unmapView(char* view, std::uint32_t size) {
    munmap(view, size);
}

char* mapCopy(MappingHandle mapping, std::uint32_t size, std::uint32_t writable, bool& noAddress,
              SystemError& error) {
    char* const view = map(mapping, PROT_READ, MAP_PRIVATE, size, error);
    noAddress = view == nullptr && error == ENOMEM;
    if (view == nullptr || writable == 0 || mprotect(view, writable, PROT_READ | PROT_WRITE) == 0) {
        return view;
    }
    error = lastError();
    munmap(view, size);
    return nullptr;
}

void unmapCopy(char* view, std::uint32_t size, std::uint32_t) {
    munmap(view, size);
}

} // namespace platform

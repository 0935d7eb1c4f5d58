#include "Shm/MappedFile.h"

#include "core/library_log.h"
#include "platform/mapped_file.h"
#include "shm/error_text.h"
#include "shm/line.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <new>

namespace misc {

namespace {

constexpr char kModule[] = "QZCORE";

// Keeps the message of a misc::error; lets std::bad_alloc through.
template<class Map>
bool mapsOrKeepsMessage(mmf& image, Map map) {
    try {
        map();
        return true;
    } catch (const misc::error& failure) {
        image.errorText = failure.what();
        return false;
    }
}

// Closes the image, then maps it. A null name fails without a message.
template<class Map>
bool opens(mmf& image, const char* fileName, Map map) {
    image.close();
    if (fileName == nullptr) {
        return false;
    }
    try {
        if (mapsOrKeepsMessage(image, map)) {
            return true;
        }
    } catch (const std::bad_alloc&) {
        image.errorText = "Out of memory"; // short enough for a string to hold without allocating
    }
    image.close();
    return false;
}

} // namespace

uint64_t mmf::reservedmemory = 0;

std::string getLastError() {
    return shm::textOf(platform::lastSystemError());
}

mmf::mmf(const char* fileName, bool isReadOnly) {
    open(fileName, isReadOnly);
}

mmf::~mmf() {
    close();
}

bool mmf::open(const char* fileName, bool isReadOnly) {
    if (opens(*this, fileName, [&] { mapWhole(fileName, isReadOnly); })) {
        return true;
    }
    if (fileName != nullptr) {
        qz_log(kModule, QZ_LOG_ERROR, error());
    }
    return false;
}

bool mmf::open_copyaccess(const char* fileName, int writableUnits) {
    return opens(*this, fileName, [&] { mapCopy(fileName, writableUnits); });
}

void mmf::openFile(const char* fileName, bool isReadOnly) {
    platform::SystemError problem = 0;
    std::int64_t bytes = 0;
    file = platform::openFileToMap(fileName, isReadOnly, problem);
    if (file != platform::kNoFile) {
        problem = platform::sizeFile(file, bytes);
    }
    if (problem != 0 || bytes > UINT32_MAX) {
        const std::string text = problem != 0 ? shm::textOf(problem) : "File too large";
        throw misc::error(shm::format("CreateFile(\"%s\", %s): %s", fileName,
                                      isReadOnly ? "read" : "write", text.c_str()));
    }
    size = static_cast<uint32_t>(bytes);
    readOnly = isReadOnly;
}

// An empty file is opened but not mapped, because no system can map one.
void mmf::mapWhole(const char* fileName, bool isReadOnly) {
    openFile(fileName, isReadOnly);
    if (size == 0) {
        return;
    }
    platform::SystemError problem = 0;
    mapping = platform::createMapping(file, isReadOnly, size, problem);
    if (mapping == platform::kNoMapping) {
        throw misc::error(
            shm::format("CreateFileMapping(%u) %s", size, shm::textOf(problem).c_str()));
    }
    view = platform::mapView(mapping, isReadOnly, size, problem);
    if (view == nullptr) {
        throw misc::error(shm::format("MapViewOfFileEx() %s", shm::textOf(problem).c_str()));
    }
    std::atomic_ref(reservedmemory).fetch_add(size);
}

void mmf::mapCopy(const char* fileName, int writableUnits) {
    if (writableUnits < 0) {
        throw misc::error(shm::format("CreateFileMapping() %d", writableUnits));
    }
    openFile(fileName, true);
    if (size == 0) {
        return;
    }
    platform::SystemError problem = 0;
    mapping = platform::createMapping(file, true, size, problem);
    if (mapping == platform::kNoMapping) {
        throw misc::error(shm::format("CreateFileMapping() %u", problem));
    }
    const uint64_t wanted = static_cast<uint64_t>(writableUnits) * platform::kMappingUnit;
    const auto writable = static_cast<uint32_t>(std::min<uint64_t>(size, wanted));
    bool noAddress = false;
    view = platform::mapCopy(mapping, size, writable, noAddress, problem);
    if (view == nullptr) {
        throw misc::error(
            shm::format(noAddress ? "VirtualAlloc() %u" : "MapViewOfFileEx() %u", problem));
    }
    isCopy_ = true;
    writableSize_ = writable;
}

const char* mmf::getline(unsigned int& pos, int& length) const {
    if (pos >= size) {
        return nullptr;
    }
    const char* const line = view + pos;
    const char* const end = view + size;
    const char* const lineEnd = shm::findLineEnd(line, end);
    const bool isTooLong = lineEnd - line > INT_MAX;
    length = isTooLong ? INT_MAX : static_cast<int>(lineEnd - line);
    pos = isTooLong ? pos + INT_MAX
                    : static_cast<unsigned int>(shm::skipLineEnds(lineEnd, end) - view);
    return line;
}

void mmf::close() {
    if (view != nullptr) {
        if (isCopy_) {
            platform::unmapCopy(view, size, writableSize_);
        } else {
            platform::unmapView(view, size);
        }
    }
    if (mapping != platform::kNoMapping) {
        platform::closeMapping(mapping);
    }
    if (file != platform::kNoFile) {
        platform::closeFile(file);
    }
    file = platform::kNoFile;
    mapping = platform::kNoMapping;
    view = nullptr;
    size = 0;
    isCopy_ = false;
}

} // namespace misc

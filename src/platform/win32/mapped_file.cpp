#include "platform/mapped_file.h"

#include "platform/win32/handle.h"
#include "platform/win32/path_target.h"
#include "platform/win32/wide.h"

#include <windows.h>

namespace platform {

namespace {

constexpr std::size_t kPathUnits = MAX_PATH + 1;

// Another thread may take the range of addresses before it is used.
constexpr int kAttempts = 16;

HANDLE handleOf(std::intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

// A range that is free at the moment.
char* findAddresses(std::uint32_t size) {
    void* const found = VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_NOACCESS);
    if (found != nullptr) {
        VirtualFree(found, 0, MEM_RELEASE);
    }
    return static_cast<char*>(found);
}

bool mapAt(char* address, MappingHandle mapping, DWORD access, std::uint32_t offset,
           std::uint32_t size) {
    return size == 0 || MapViewOfFileEx(handleOf(mapping), access, 0, offset, size, address);
}

// Maps the changeable part, and the rest right behind it.
bool mapBothAt(char* address, MappingHandle mapping, std::uint32_t size, std::uint32_t writable) {
    if (!mapAt(address, mapping, FILE_MAP_COPY, 0, writable)) {
        return false;
    }
    if (mapAt(address + writable, mapping, FILE_MAP_READ, writable, size - writable)) {
        return true;
    }
    const SystemError error = lastSystemError();
    if (writable != 0) {
        UnmapViewOfFile(address);
    }
    SetLastError(error);
    return false;
}

} // namespace

std::uint32_t pageSize() {
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwPageSize;
}

SystemError lastSystemError() {
    return GetLastError();
}

FileHandle openFileToMap(const char* path, bool readOnly, SystemError& error) {
    wchar_t wide[kPathUnits];
    if (!toWide(path, wide, kPathUnits)) {
        error = ERROR_PATH_NOT_FOUND;
        return kNoFile;
    }
    if (targetOf(wide) == PathTarget::device) {
        error = ERROR_INVALID_NAME;
        return kNoFile;
    }
    Handle file(CreateFileW(wide, readOnly ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE,
                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL | FILE_FLAG_RANDOM_ACCESS, nullptr));
    error = file ? 0 : GetLastError();
    if (file && GetFileType(file.get()) != FILE_TYPE_DISK) {
        error = ERROR_BAD_FILE_TYPE;
    }
    return error == 0 ? reinterpret_cast<FileHandle>(file.release()) : kNoFile;
}

MappingHandle createMapping(FileHandle file, bool readOnly, std::uint32_t size,
                            SystemError& error) {
    const HANDLE mapping = CreateFileMappingW(
        handleOf(file), nullptr, readOnly ? PAGE_READONLY : PAGE_READWRITE, 0, size, nullptr);
    error = mapping == nullptr ? GetLastError() : 0;
    return reinterpret_cast<MappingHandle>(mapping);
}

void closeMapping(MappingHandle mapping) {
    CloseHandle(handleOf(mapping));
}

char* mapView(MappingHandle mapping, bool readOnly, std::uint32_t size, SystemError& error) {
    void* const view = MapViewOfFileEx(handleOf(mapping),
                                       readOnly ? FILE_MAP_READ : FILE_MAP_READ | FILE_MAP_WRITE, 0,
                                       0, size, nullptr);
    error = view == nullptr ? GetLastError() : 0;
    return static_cast<char*>(view);
}

void unmapView(char* view, std::uint32_t) {
    UnmapViewOfFile(view);
}

char* mapCopy(MappingHandle mapping, std::uint32_t size, std::uint32_t writable, bool& noAddress,
              SystemError& error) {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        char* const address = findAddresses(size);
        noAddress = address == nullptr;
        if (!noAddress && mapBothAt(address, mapping, size, writable)) {
            error = 0;
            return address;
        }
        error = GetLastError();
        if (error != ERROR_INVALID_ADDRESS) {
            break;
        }
    }
    return nullptr;
}

void unmapCopy(char* view, std::uint32_t size, std::uint32_t writable) {
    UnmapViewOfFile(view);
    if (writable != 0 && writable != size) {
        UnmapViewOfFile(view + writable);
    }
}

} // namespace platform

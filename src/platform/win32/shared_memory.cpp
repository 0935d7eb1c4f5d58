// Named sections and mutexes, which Windows itself frees.
#include "platform/shared_memory.h"

#include "platform/win32/handle.h"
#include "platform/win32/wide.h"

#include <windows.h>

#include <winternl.h>

#include <cstddef>
#include <cwchar>
#include <iterator>
#include <memory>
#include <utility>

namespace platform {

namespace {

constexpr std::size_t kNameUnits = MAX_PATH + 1;

Handle openSection(const wchar_t* name) {
    return Handle(OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, name));
}

Handle openOrMakeSection(const wchar_t* name, DWORD size, void* security) {
    Handle section = openSection(name);
    if (!section) {
        section = Handle(CreateFileMappingW(INVALID_HANDLE_VALUE,
                                            static_cast<SECURITY_ATTRIBUTES*>(security),
                                            PAGE_READWRITE, 0, size, name));
    }
    return section;
}

// The system's list of names is a directory of objects that only its native interface can read.
struct DirectoryEntry {
    UNICODE_STRING name;
    UNICODE_STRING type;
};

using OpenDirectory = NTSTATUS(NTAPI*)(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*);
using QueryDirectory = NTSTATUS(NTAPI*)(HANDLE, void*, ULONG, BOOLEAN, BOOLEAN, ULONG*, ULONG*);

template<class Function>
Function nativeFunction(const char* name) {
    const HMODULE native = GetModuleHandleW(L"ntdll.dll");
    const FARPROC found = native == nullptr ? nullptr : GetProcAddress(native, name);
    return reinterpret_cast<Function>(reinterpret_cast<void*>(found));
}

// Opens the list of the names in this user's session.
Handle openNames() {
    const auto open = nativeFunction<OpenDirectory>("NtOpenDirectoryObject");
    DWORD session = 0;
    if (open == nullptr || !ProcessIdToSessionId(GetCurrentProcessId(), &session)) {
        return Handle();
    }
    wchar_t path[64];
    std::swprintf(path, std::size(path),
                  session == 0 ? L"\\BaseNamedObjects" : L"\\Sessions\\%lu\\BaseNamedObjects",
                  session);
    const auto bytes = static_cast<USHORT>(std::wcslen(path) * sizeof(wchar_t));
    UNICODE_STRING name{bytes, bytes, path};
    OBJECT_ATTRIBUTES attributes;
    InitializeObjectAttributes(&attributes, &name, 0, nullptr, nullptr);
    constexpr ACCESS_MASK kQuery = 1;
    HANDLE names = nullptr;
    return open(&names, kQuery, &attributes) == 0 ? Handle(names) : Handle();
}

} // namespace

struct SharedMemory {
    Handle section;
    void* bytes = nullptr;
    std::uint64_t size = 0;

    SharedMemory() = default;
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;
    ~SharedMemory() {
        if (bytes != nullptr) {
            UnmapViewOfFile(bytes);
        }
    }
};

struct SharedMutex {
    Handle handle;
};

SharedMemory* openSharedMemory(const char* name, std::uint32_t size, void* security) {
    wchar_t wide[kNameUnits];
    if (!toWide(name, wide, kNameUnits)) {
        return nullptr;
    }
    auto shared = std::make_unique<SharedMemory>();
    shared->section = openOrMakeSection(wide, size, security);
    if (!shared->section) {
        return nullptr;
    }
    shared->bytes = MapViewOfFile(shared->section.get(), FILE_MAP_ALL_ACCESS, 0, 0, 0);
    MEMORY_BASIC_INFORMATION region = {};
    // Another program may have made a section whose pages are only reserved.
    if (shared->bytes == nullptr || VirtualQuery(shared->bytes, &region, sizeof region) == 0 ||
        region.State != MEM_COMMIT) {
        return nullptr;
    }
    shared->size = region.RegionSize;
    return shared.release();
}

void closeSharedMemory(SharedMemory* shared) {
    delete shared;
}

char* bytesOf(const SharedMemory& shared) {
    return static_cast<char*>(shared.bytes);
}

std::uint64_t sizeOf(const SharedMemory& shared) {
    return shared.size;
}

bool sharedMemoryExists(const char* name) {
    wchar_t wide[kNameUnits];
    return toWide(name, wide, kNameUnits) && openSection(wide);
}

void listSharedMemory(void (*callback)(void* context, const char* name), void* context) {
    const auto query = nativeFunction<QueryDirectory>("NtQueryDirectoryObject");
    const Handle names = openNames();
    if (query == nullptr || !names) {
        return;
    }
    // Has room for any entry: an object's name has 64 KiB at most.
    alignas(DirectoryEntry) std::byte buffer[0x10400];
    ULONG position = 0;
    while (query(names.get(), buffer, sizeof buffer, TRUE, FALSE, &position, nullptr) == 0) {
        const auto* entry = reinterpret_cast<const DirectoryEntry*>(buffer);
        char name[3 * kNameUnits];
        if (std::wcscmp(entry->type.Buffer, L"Section") == 0 &&
            fromWide(entry->name.Buffer, name, sizeof name)) {
            callback(context, name);
        }
    }
}

SharedMutex* openSharedMutex(const char* name, void* security) {
    wchar_t wide[kNameUnits];
    if (!toWide(name, wide, kNameUnits)) {
        return nullptr;
    }
    Handle handle(CreateMutexW(static_cast<SECURITY_ATTRIBUTES*>(security), FALSE, wide));
    return handle ? new SharedMutex{std::move(handle)} : nullptr;
}

void closeSharedMutex(SharedMutex* mutex) {
    delete mutex;
}

bool lockShared(SharedMutex& mutex, std::chrono::milliseconds limit) {
    const DWORD result = WaitForSingleObject(mutex.handle.get(), static_cast<DWORD>(limit.count()));
    return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

void unlockShared(SharedMutex& mutex) {
    ReleaseMutex(mutex.handle.get());
}

} // namespace platform

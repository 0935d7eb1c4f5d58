// The resources that this process holds, to see whether any are left behind.
#pragma once

#include <cstddef>
#include <cstdio>

#ifdef _WIN32
#    include <windows.h>

#    include <tlhelp32.h>
#else
#    include <malloc.h>

#    include <filesystem>
#    include <fstream>
#    include <iterator>
#    include <string>
#endif

struct Footprint {
    std::size_t heapBytes = 0; // as its users count them
    std::size_t mappings = 0;  // of memory
    std::size_t handles = 0;   // of files and other objects
    std::size_t threads = 0;

    void print(const char* when) const {
        std::fprintf(stderr, "%s: %zu bytes, %zu mappings, %zu handles, %zu threads\n", when,
                     heapBytes, mappings, handles, threads);
    }
};

#ifdef _WIN32
inline std::size_t busyBytes(HANDLE heap) {
    std::size_t bytes = 0;
    PROCESS_HEAP_ENTRY entry{};
    while (HeapWalk(heap, &entry)) {
        bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
    }
    return bytes;
}

inline std::size_t countMappings() {
    std::size_t count = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (char* at = nullptr; VirtualQuery(at, &region, sizeof region) != 0;
         at = static_cast<char*>(region.BaseAddress) + region.RegionSize) {
        count += region.State != MEM_FREE;
    }
    return count;
}

// A new handle is the lowest free number. Wine cannot count the open ones.
inline std::size_t firstFreeHandle() {
    const HANDLE handle = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(handle);
    return reinterpret_cast<std::size_t>(handle) / 4;
}

inline std::size_t countThreads() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    std::size_t count = 0;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        count += entry.th32OwnerProcessID == GetCurrentProcessId();
    }
    CloseHandle(snapshot);
    return count;
}

inline Footprint footprint() {
    Footprint all;
    HANDLE heaps[64];
    const DWORD count = GetProcessHeaps(64, heaps);
    for (DWORD i = 0; i < count && i < 64; ++i) {
        all.heapBytes += busyBytes(heaps[i]);
    }
    all.handles = firstFreeHandle();
    all.mappings = countMappings();
    all.threads = countThreads();
    return all;
}
#else
inline std::size_t countFiles(const char* directory) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(directory), {}));
}

inline Footprint footprint() {
    Footprint all;
    const struct mallinfo2 heap = mallinfo2();
    all.heapBytes = heap.uordblks + heap.hblkhd;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        ++all.mappings;
    }
    all.handles = countFiles("/proc/self/fd");
    all.threads = countFiles("/proc/self/task");
    return all;
}
#endif

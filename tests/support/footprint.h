// The resources that this process holds, to see whether any are left behind.
#pragma once

#include <array>
#include <cstddef>

#ifdef _WIN32
#    include <windows.h>
#else
#    include <malloc.h>

#    include <algorithm>
#    include <filesystem>
#    include <fstream>
#    include <iterator>
#endif

// Bytes on the heap as their users count them; mappings of memory, of which each thread has some;
// handles of files and other objects.
using Footprint = std::array<std::size_t, 3>;

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

inline Footprint footprint() {
    HANDLE heaps[64];
    const DWORD count = GetProcessHeaps(64, heaps);
    std::size_t bytes = 0;
    for (DWORD i = 0; i < count && i < 64; ++i) {
        bytes += busyBytes(heaps[i]);
    }
    return {bytes, countMappings(), firstFreeHandle()};
}
#else
inline Footprint footprint() {
    const struct mallinfo2 heap = mallinfo2();
    std::ifstream maps("/proc/self/maps");
    const auto mappings = std::count(std::istreambuf_iterator<char>(maps), {}, '\n');
    const auto files = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    return {heap.uordblks + heap.hblkhd, static_cast<std::size_t>(mappings),
            static_cast<std::size_t>(files)};
}
#endif

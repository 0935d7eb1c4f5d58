// Files as memory, by UTF-8 path with either separator.
#pragma once

#include "platform/files.h"

#include <cstdint>

namespace platform {

using MappingHandle = std::intptr_t;
inline constexpr MappingHandle kNoMapping = 0;

// How much of a file a copy can make writable at once, and what places in it are multiples of.
inline constexpr std::uint32_t kMappingUnit = 65536;

std::uint32_t pageSize();

// The calling thread's last error.
SystemError lastSystemError();

// Opens an ordinary file that exists. Others may read and write it meanwhile. closeFile closes it.
FileHandle openFileToMap(const char* path, bool readOnly, SystemError& error);

// What the views are made of; kNoMapping on failure. Views outlive it. `size` is not 0.
MappingHandle createMapping(FileHandle file, bool readOnly, std::uint32_t size, SystemError& error);
void closeMapping(MappingHandle mapping);

// The whole file; null on failure.
char* mapView(MappingHandle mapping, bool readOnly, std::uint32_t size, SystemError& error);
void unmapView(char* view, std::uint32_t size);

// The whole file, of which the first `writable` bytes can be changed in memory only. `writable` is
// `size` or a multiple of kMappingUnit. Null on failure; `noAddress` says whether that was for want
// of a free range of addresses.
char* mapCopy(MappingHandle mapping, std::uint32_t size, std::uint32_t writable, bool& noAddress,
              SystemError& error);
void unmapCopy(char* view, std::uint32_t size, std::uint32_t writable);

} // namespace platform

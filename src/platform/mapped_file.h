// Files as memory, by UTF-8 path with either separator.
#pragma once

#include "platform/files.h"

#include <cstdint>

namespace platform {

using MappingHandle = std::intptr_t;
inline constexpr MappingHandle kNoMapping = 0;

// mapCopy makes a multiple of this many bytes writable.
inline constexpr std::uint32_t kMappingUnit = 65536;

std::uint32_t pageSize();

// The calling thread's last error.
SystemError lastSystemError();

// Opens an ordinary file that exists. Others may read and write it meanwhile. closeFile closes it.
FileHandle openFileToMap(const char* path, bool readOnly, SystemError& error);

// Views are made from a mapping while its file is open, and may outlive both. kNoMapping on
// failure. `size` is not 0.
MappingHandle createMapping(FileHandle file, bool readOnly, std::uint32_t size, SystemError& error);
void closeMapping(MappingHandle mapping);

// The whole file; null on failure.
char* mapView(MappingHandle mapping, bool readOnly, std::uint32_t size, SystemError& error);
void unmapView(char* view, std::uint32_t size);

// The whole file, of which the first `writable` bytes can be changed, in memory only. `writable` is
// `size` or a multiple of kMappingUnit. Null on failure; `noAddress` says whether no range of
// addresses was free.
char* mapCopy(MappingHandle mapping, std::uint32_t size, std::uint32_t writable, bool& noAddress,
              SystemError& error);
void unmapCopy(char* view, std::uint32_t size, std::uint32_t writable);

} // namespace platform

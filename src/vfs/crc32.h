// CRC-32, the check sum of zip archives.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vfs {

// Continues a sum over the next `size` bytes. The first call's `sum` is 0.
std::uint32_t updateCrc32(std::uint32_t sum, const void* data, std::size_t size);

} // namespace vfs

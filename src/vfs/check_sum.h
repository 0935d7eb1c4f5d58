// The check sum of zip archives: CRC-32.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vfs {

// The sum of what `sum` is of, which is 0 at first, and of what follows it.
std::uint32_t checkSum(std::uint32_t sum, const void* data, std::size_t size);

} // namespace vfs

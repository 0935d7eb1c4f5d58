#include "VFS/Binary.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace {

constexpr unsigned int kBitsPerByte = 8;

template<class Value>
std::size_t put(VFS_File* file, Value value) {
    std::array<std::uint8_t, sizeof(Value)> bytes;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        bytes[index] = static_cast<std::uint8_t>(value >> (kBitsPerByte * index));
    }
    return VFS_write(file, bytes.data(), bytes.size());
}

template<class Value>
Value get(VFS_File* file) {
    std::array<std::uint8_t, sizeof(Value)> bytes = {};
    VFS_read(file, bytes.data(), bytes.size());
    std::uint64_t value = 0;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        value |= std::uint64_t{bytes[index]} << (kBitsPerByte * index);
    }
    return static_cast<Value>(value);
}

constexpr unsigned int kGroupBits = 7;
constexpr std::uint8_t kGroupMask = (1U << kGroupBits) - 1;
constexpr std::uint8_t kMoreFollows = 1U << kGroupBits;

std::uint8_t getByteOrZero(VFS_File* file) {
    std::uint8_t byte = 0;
    return VFS_read(file, &byte, 1) == 1 ? byte : 0;
}

// Skips to the end of the file if the file has no such position: a length in it may be wrong. The
// sum must not wrap around, because a reader that goes backwards could loop for ever.
void skip(VFS_File* file, std::uint64_t count) {
    const std::int64_t position = std::max<std::int64_t>(VFS_tell(file), 0);
    const auto room =
        static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() - position);
    if (count <= room && VFS_seek(file, position + static_cast<std::int64_t>(count)) != 0) {
        return;
    }
    const std::int64_t end = VFS_getsize(file);
    if (end > position) {
        VFS_seek(file, end);
    }
}

} // namespace

extern "C" {

size_t VFS_put_uint8(VFS_File* file, uint8_t value) {
    return put(file, value);
}

size_t VFS_put_uint16(VFS_File* file, uint16_t value) {
    return put(file, value);
}

size_t VFS_put_uint32(VFS_File* file, uint32_t value) {
    return put(file, value);
}

size_t VFS_put_uint64(VFS_File* file, uint64_t value) {
    return put(file, value);
}

uint8_t VFS_get_uint8(VFS_File* file) {
    return get<std::uint8_t>(file);
}

uint16_t VFS_get_uint16(VFS_File* file) {
    return get<std::uint16_t>(file);
}

uint32_t VFS_get_uint32(VFS_File* file) {
    return get<std::uint32_t>(file);
}

uint64_t VFS_get_uint64(VFS_File* file) {
    return get<std::uint64_t>(file);
}

size_t VFS_put_mbint(VFS_File* file, uint64_t value) {
    for (; value > kGroupMask; value >>= kGroupBits) {
        VFS_put_uint8(file, static_cast<std::uint8_t>((value & kGroupMask) | kMoreFollows));
    }
    return VFS_put_uint8(file, static_cast<std::uint8_t>(value));
}

uint64_t VFS_get_mbint(VFS_File* file) {
    std::uint64_t value = 0;
    std::uint8_t byte = 0;
    unsigned int shift = 0;
    do {
        byte = getByteOrZero(file);
        value |= std::uint64_t{static_cast<std::uint8_t>(byte & kGroupMask)} << shift;
        shift = (shift + kGroupBits) % std::numeric_limits<std::uint64_t>::digits;
    } while ((byte & kMoreFollows) != 0);
    return value;
}

size_t VFS_put_string(VFS_File* file, const void* data, size_t length) {
    VFS_put_mbint(file, length);
    return VFS_write(file, data, length);
}

uint64_t VFS_get_string(VFS_File* file, char* buffer, size_t size) {
    const std::uint64_t length = VFS_get_mbint(file);
    const std::size_t room = buffer == nullptr ? 0 : size;
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(length, room));
    const std::size_t count = VFS_read(file, buffer, wanted);
    const bool failed = count > wanted;
    if (!failed && count < length) {
        skip(file, length - count);
    }
    if (room > 0) {
        buffer[failed ? 0 : std::min(count, room - 1)] = 0;
    }
    return failed ? 0 : length;
}

} // extern "C"

#include "VFS/Paths.h"

#include "Core/Utf8.h"

#include "platform/files.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <cwctype>

namespace {

constexpr char kSeparator = '\\';

// The longest sequence that a lead byte of the codec can announce.
constexpr std::size_t kLongestSequence = 6;

bool isSeparator(char c) {
    return c == '/' || c == '\\';
}

void makeEmpty(char* destination, std::size_t size) {
    if (destination != nullptr && size > 0) {
        destination[0] = 0;
    }
}

unsigned int refuse(char* destination, std::size_t size) {
    makeEmpty(destination, size);
    return 0;
}

// The C library's mapping of the low 16 bits of a code point, in the process's locale.
std::uint32_t lowerCase(char16_t character) {
    return static_cast<std::uint32_t>(std::towlower(character));
}

const char* lastSeparator(const char* path) {
    const char* last = nullptr;
    for (; *path != 0; ++path) {
        if (isSeparator(*path)) {
            last = path;
        }
    }
    return last;
}

void copyWithSeparators(char* destination, const char* source, std::size_t length) {
    std::replace_copy(source, source + length, destination, '/', kSeparator);
    destination[length] = 0;
}

// Puts the base of a join into its destination, which may be the base.
bool placeBase(char* destination, std::size_t size, const char* base) {
    if (base != destination) {
        return VFS_path_normalize(destination, size, base == nullptr ? "" : base) != 0;
    }
    const std::size_t length = strnlen(destination, size);
    if (length == size) {
        return false;
    }
    std::replace(destination, destination + length, '/', kSeparator);
    return true;
}

} // namespace

extern "C" {

unsigned int VFS_path_split(const char* path, char* directory, size_t size, const char** file) {
    if (path == nullptr) {
        return refuse(directory, size);
    }
    const char* separator = lastSeparator(path);
    if (file != nullptr) {
        *file = separator == nullptr ? path : separator + 1;
    }
    if (separator == nullptr) {
        makeEmpty(directory, size);
        return 1;
    }
    if (directory == nullptr) {
        return 1;
    }
    const auto length = static_cast<std::size_t>(separator - path);
    if (length >= size) {
        return 0;
    }
    copyWithSeparators(directory, path, length);
    return 1;
}

unsigned int VFS_path_normalize(char* destination, size_t size, const char* source) {
    if (source == nullptr || (destination == nullptr && size > 0)) {
        return refuse(destination, size);
    }
    std::size_t written = 0;
    std::size_t read = 0;
    bool afterSeparator = false;
    for (; source[read] != 0; ++read) {
        const bool separator = isSeparator(source[read]);
        const bool repeated = separator && afterSeparator && read > 1;
        afterSeparator = separator;
        if (repeated) {
            continue;
        }
        if (written + 1 >= size) {
            break;
        }
        destination[written++] = separator ? kSeparator : source[read];
    }
    if (size > 0) {
        destination[written] = 0;
    }
    return source[read] == 0 ? 1 : 0;
}

unsigned int VFS_path_native(char* destination, size_t size, const char* source) {
    if (source == nullptr || (destination == nullptr && size > 0)) {
        return refuse(destination, size);
    }
    const std::size_t length = std::strlen(source);
    const std::size_t copied = size > 0 ? std::min(length, size - 1) : 0;
    std::replace_copy_if(source, source + copied, destination, isSeparator, platform::kSeparator);
    if (size > 0) {
        destination[copied] = 0;
    }
    return copied == length ? 1 : 0;
}

unsigned int VFS_path_normcase(char* destination, size_t size, const char* source) {
    if (source == nullptr || (destination == nullptr && size > 0)) {
        return refuse(destination, size);
    }
    char* end = destination;
    std::size_t room = size > 0 ? size - 1 : 0;
    bool complete = true;
    while (const std::uint32_t character = UTF8_getc(&source, kLongestSequence)) {
        const std::size_t written =
            UTF8_putc(&end, room, lowerCase(static_cast<char16_t>(character)));
        complete = written > 0;
        if (!complete) {
            break;
        }
        room -= written;
    }
    if (size > 0) {
        *end = 0;
    }
    return complete ? 1 : 0;
}

unsigned int VFS_path_join(char* destination, size_t size, const char* base, const char* relative) {
    if (destination == nullptr || size == 0 || !placeBase(destination, size, base)) {
        return 0;
    }
    if (relative == nullptr) {
        return 1;
    }
    while (isSeparator(*relative)) {
        ++relative;
    }
    std::size_t length = std::strlen(destination);
    if (length > 0 && !isSeparator(destination[length - 1])) {
        if (length + 1 >= size) {
            return 0;
        }
        destination[length++] = kSeparator;
        destination[length] = 0;
    }
    if (length + std::strlen(relative) >= size) {
        return 0;
    }
    return VFS_path_normalize(destination + length, size - length, relative);
}

} // extern "C"

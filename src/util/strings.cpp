#include "Util/Strings.h"

#include "Core/Utf8.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cwctype>
#include <string_view>
#include <utility>

namespace qz {

namespace {

constexpr std::string_view kSeparators = "/\\";

bool isSeparator(char c) {
    return c == '/' || c == '\\';
}

bool isSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

char lowerCase(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

// The decoder may read the string's terminator, too, which ends the text.
template<class Map>
std::string mapCharacters(const std::string& text, Map map) {
    constexpr std::size_t kLongestSequence = 6;
    const char* position = text.c_str();
    const char* const end = position + text.size() + 1;
    std::string mapped;
    while (position < end) {
        const auto room = static_cast<std::size_t>(end - position);
        const auto character =
            static_cast<char16_t>(UTF8_getc(&position, std::min(room, kLongestSequence)));
        if (character == 0) {
            break;
        }
        char bytes[4];
        char* output = bytes;
        mapped.append(bytes,
                      UTF8_putc(&output, sizeof bytes, static_cast<std::uint32_t>(map(character))));
    }
    return mapped;
}

// Whether a "." stands for its own folder, so that it can go with the separator behind it.
bool isIdleDot(std::string_view path, std::size_t i) {
    return path[i] == '.' && (i == 0 || isSeparator(path[i - 1])) && i + 1 < path.size() &&
           isSeparator(path[i + 1]);
}

} // namespace

std::string toLower(const std::string& text) {
    return mapCharacters(text, [](char16_t character) { return std::towlower(character); });
}

std::string toUpper(const std::string& text) {
    return mapCharacters(text, [](char16_t character) { return std::towupper(character); });
}

std::string completePathWithSlash(const std::string& path) {
    return path.empty() || isSeparator(path.back()) ? path : path + '/';
}

std::string removeWhiteSpaces(const std::string& text) {
    std::string result = text;
    std::erase_if(result, isSpace);
    return result;
}

std::string removeExtension(const std::string& path) {
    return path.substr(0, path.rfind('.'));
}

std::string extractExtension(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    return dot == std::string::npos ? "" : path.substr(dot + 1);
}

std::string extractFileName(const std::string& path) {
    return path.substr(path.find_last_of(kSeparators) + 1);
}

std::string extractFileNameNoExt(const std::string& path) {
    return removeExtension(extractFileName(path));
}

std::string extractFolder(const std::string& path) {
    return path.substr(0, path.find_last_of(kSeparators) + 1);
}

void normalizePath(const std::string& in, std::string& out) {
    std::string normal;
    bool afterSeparator = false;
    for (std::size_t i = 0; i < in.size(); ++i) {
        if (isSeparator(in[i])) {
            if (!afterSeparator) {
                normal += '/';
            }
            afterSeparator = true;
        } else if (isIdleDot(in, i)) {
            ++i;
            afterSeparator = true;
        } else {
            normal += lowerCase(in[i]);
            afterSeparator = false;
        }
    }
    out = std::move(normal);
}

} // namespace qz

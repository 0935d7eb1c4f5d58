#include "config/escapes.h"

#include <algorithm>
#include <array>

namespace qz::config {

namespace {

constexpr std::string_view kNames = "abfnrtv'\"\\?";
constexpr std::string_view kCharacters = "\a\b\f\n\r\t\v'\"\\?";

// The character that stands behind a backslash for each character, 0 if there is none.
constexpr auto kNameOf = [] {
    std::array<char, 256> names{};
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        names[static_cast<unsigned char>(kCharacters[i])] = kNames[i];
    }
    return names;
}();

char nameOf(char character) {
    return kNameOf[static_cast<unsigned char>(character)];
}

} // namespace

std::optional<std::size_t> resolveEscapes(std::string_view raw, char* output) {
    char* end = output;
    while (true) {
        const std::size_t plain = std::min(raw.find('\\'), raw.size());
        end = std::copy_n(raw.data(), plain, end);
        raw.remove_prefix(plain);
        if (raw.empty()) {
            return static_cast<std::size_t>(end - output);
        }
        const std::size_t found = raw.size() == 1 ? std::string_view::npos : kNames.find(raw[1]);
        if (found == std::string_view::npos) {
            return std::nullopt;
        }
        *end++ = kCharacters[found];
        raw.remove_prefix(2);
    }
}

void appendEscaped(std::string& output, std::string_view text) {
    while (true) {
        const auto special = std::find_if(text.begin(), text.end(), nameOf);
        output.append(text.begin(), special);
        if (special == text.end()) {
            return;
        }
        output += {'\\', nameOf(*special)};
        text.remove_prefix(static_cast<std::size_t>(special - text.begin()) + 1);
    }
}

} // namespace qz::config

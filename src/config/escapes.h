// Characters in quoted text that are written as a backslash and another character.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qz::config {

// Writes what a raw text stands for, which is not longer, and returns its length; nothing if a
// backslash is not followed by a character that it goes with.
std::optional<std::size_t> resolveEscapes(std::string_view raw, char* output);

// Adds the raw text for a text.
void appendEscaped(std::string& output, std::string_view text);

} // namespace qz::config

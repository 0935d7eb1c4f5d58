// Escapes: characters in quoted text that are written as a backslash and another character.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qz::config {

// Writes the text that a raw text stands for, which is not longer, and returns its length. Nothing
// if a backslash and the character behind it are no escape.
std::optional<std::size_t> resolveEscapes(std::string_view raw, char* output);

// Appends a text as a raw text, with escapes.
void appendEscaped(std::string& output, std::string_view text);

} // namespace qz::config

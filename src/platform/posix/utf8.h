// The conversions of Windows, for equal results on both systems.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace platform {

// The number of UTF-16 units, without a terminator; nothing if the text is not valid UTF-8.
std::optional<std::size_t> utf16Length(std::string_view text);

} // namespace platform

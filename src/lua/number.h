// Converts numbers to text and back, with a decimal point in every locale. Lua's own conversions
// call the C library and so follow the locale of the process, which hosts may change.
#pragma once

#include <charconv>
#include <cstddef>
#include <string_view>

struct lua_State;

namespace lua {

// The text of a number as tostring prints it.
class NumberText {
public:
    explicit NumberText(double number)
        : end_(std::to_chars(text_, text_ + sizeof text_, number, std::chars_format::general, 14)
                   .ptr) {}
    NumberText(const NumberText&) = delete;
    NumberText& operator=(const NumberText&) = delete;

    std::string_view view() const { return {text_, static_cast<std::size_t>(end_ - text_)}; }

private:
    char text_[32];
    const char* end_;
};

// Replaces a number at a positive index by its text, as lua_tolstring does. Keeps other values.
void numberToText(lua_State* state, int index);

// Takes what tonumber takes: white space around the number, a sign, hexadecimal digits behind "0x".
// False, with `out` left alone, for any other text.
bool parseNumber(std::string_view text, double& out);

} // namespace lua

#include "lua/number.h"

#include "config/decimal.h"

#include <lua.hpp>

namespace lua {

namespace {

// The text without leading and trailing white space, as the C library knows it in the locale "C".
std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\n\v\f\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool parseUnsigned(std::string_view text, double& out) {
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (isHexadecimal) {
        text.remove_prefix(2);
    }
    // from_chars would accept another sign, and infinity and not-a-number behind "0x".
    const bool isWord = text.find_first_of("nN") != std::string_view::npos;
    if (text.starts_with('-') || (isHexadecimal && isWord)) {
        return false;
    }
    const char* const end = text.data() + text.size();
    const auto format = isHexadecimal ? std::chars_format::hex : std::chars_format::general;
    const auto [stop, error] = std::from_chars(text.data(), end, out, format);
    if (stop != end || error == std::errc::invalid_argument) {
        return false;
    }
    if (error == std::errc::result_out_of_range) {
        out = qz::config::beyondDouble(text, isHexadecimal); // as in the C library
        return true;
    }
    return error == std::errc();
}

} // namespace

void numberToText(lua_State* state, int index) {
    if (lua_type(state, index) == LUA_TNUMBER) {
        const NumberText text(lua_tonumber(state, index));
        lua_pushlstring(state, text.view().data(), text.view().size());
        lua_replace(state, index);
    }
}

bool parseNumber(std::string_view text, double& out) {
    text = trimmed(text);
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    double number = 0;
    if (!parseUnsigned(text, number)) {
        return false;
    }
    out = isNegative ? -number : number;
    return true;
}

} // namespace lua

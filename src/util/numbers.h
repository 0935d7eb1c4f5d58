// Text as numbers, checked.
#pragma once

#include <string_view>

namespace util {

// Reads a text that is a decimal number, with or without a sign. False, with `out` unchanged, if a
// part of the text is anything else or the number does not fit.
bool parse(std::string_view text, int& out);
bool parse(std::string_view text, double& out);

} // namespace util

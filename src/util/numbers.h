// Text as numbers, checked.
#pragma once

#include <string_view>

namespace util {

// False, with `out` left alone, unless all of the text is a decimal number, with a sign or not,
// that fits.
bool parse(std::string_view text, int& out);
bool parse(std::string_view text, double& out);

} // namespace util

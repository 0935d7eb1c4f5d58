// Decimal numbers as text.
#pragma once

#include <string>
#include <string_view>

namespace qz::config {

// The value of digits with or without a fraction and an exponent, correctly rounded; infinite if it
// is too large, 0 if it is too small. The caller has checked the text.
double parseDecimal(std::string_view text);

// Infinity or 0 for a number that no double can hold. A hexadecimal one stands without "0x" and may
// have a binary exponent.
double beyondDouble(std::string_view text, bool isHexadecimal);

// Append a finite real with digits on both sides of its point: the first with 10 significant
// digits, the second with the fewest that read back as the same number.
void appendReal(std::string& output, double value);
void appendShortestReal(std::string& output, double value);

} // namespace qz::config

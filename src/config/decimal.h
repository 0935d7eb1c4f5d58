// Decimal numbers as text.
#pragma once

#include <string>
#include <string_view>

namespace qz::config {

// The value of digits with or without a fraction and an exponent, correctly rounded; infinite if it
// is too large, 0 if it is too small. The caller has checked the text.
double parseDecimal(std::string_view text);

// Append a finite real with digits on both sides of its point: the first with 10 significant
// digits, the second with the fewest that read back as the same number.
void appendReal(std::string& output, double value);
void appendShortestReal(std::string& output, double value);

} // namespace qz::config

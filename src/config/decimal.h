// Decimal numbers as text.
#pragma once

#include <string>
#include <string_view>

namespace qz::config {

// The value of digits with or without a fraction and an exponent, correctly rounded: infinite or 0
// if it is too large or too small. The text has been checked.
double parseDecimal(std::string_view text);

// Add a finite real with digits on both sides of its point: 10 significant ones, or the fewest that
// read back as the same number.
void appendReal(std::string& output, double value);
void appendShortestReal(std::string& output, double value);

} // namespace qz::config

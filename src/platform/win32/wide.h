// Conversion between UTF-8 and the system's UTF-16.
#pragma once

#include <cstddef>

namespace platform {

// Converts into a buffer of `units` UTF-16 units, terminator included. Returns false, with the
// buffer empty, if the text is not valid UTF-8 or does not fit.
bool toWide(const char* text, wchar_t* buffer, std::size_t units);

// Converts into a buffer of `size` bytes, terminator included. Returns false, with the buffer
// empty, if the text has a lone surrogate or does not fit.
bool fromWide(const wchar_t* text, char* buffer, std::size_t size);

// Converts as much as fits, for display only. Invalid parts become replacement characters. Returns
// the number of units without the terminator.
std::size_t toWideForDisplay(const char* text, wchar_t* buffer, std::size_t units);

} // namespace platform

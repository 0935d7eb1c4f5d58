/* Conversions between UTF-8, wide text and the user's local character set. C++ only, for programs
 * built by the library's compiler.
 *
 * Conversions never fail: each input unit (a byte, or a unit of wide text) that cannot be converted
 * becomes a "?". Wide text has one 16-bit unit for a character, so characters beyond the first
 * plane, such as emoji, become U+FFFD in it. In sets with letters that accents may follow (CP1255,
 * CP1258, TCVN), the "?" for a byte behind such a letter stands in front of it.
 *
 * Wide conversions give the same results on both targets, and local ones do for the single-byte
 * sets and GB18030. Windows uses GNU libiconv, Linux the C library, and they differ elsewhere: in a
 * few characters of some East Asian sets (EUC-JP, EUC-KR, SHIFT_JIS, BIG5, CP932); in "UTF-16"
 * without a byte order, which is big-endian on Windows and has the processor's order on Linux; and
 * in "UTF-8" as the local set, where Linux lets code points beyond Unicode pass.
 */
#ifndef QZCORE_COMMON_TEXT_H
#define QZCORE_COMMON_TEXT_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <cstddef>
#include <string>

namespace Common {

/* Returns one code point as UTF-8, as UTF8_putc writes it. */
QZ_API std::string uni2mbstr(unsigned int code_point);

/* Returns `count` characters of a UTF-8 text, from the character with index `first` on. The text
 * ends at its first NUL byte. A character is a lead byte with the continuation bytes that follow,
 * at most as many as the lead byte announces. */
QZ_API std::string utf8_substr(const std::string& text, std::size_t first, std::size_t count);

/* Opens the local and the wide conversions below. charset: a name that iconv knows, for example
 * "windows-1251" or "ISO-8859-7". Each kind is opened in both directions or not at all. A kind that
 * is open stays as it is. With an unknown or empty name, such as "//TRANSLIT", or without memory or
 * descriptors, a kind stays closed. On Linux most sets may stay unknown for the rest of the process
 * if the first call found no free descriptor. Any thread may call this and the functions below. */
QZ_API void iconv_local_init(const std::string& charset);

/* Closes the conversions. */
QZ_API void iconv_local_exit();

/* Convert to and from the local character set. While the local conversions are closed, the input is
 * returned unchanged. */
QZ_API std::string iconv_local_from_utf8(const std::string& text);
QZ_API std::string iconv_local_to_utf8(const std::string& text);

/* Convert to and from wide text: UCS-2, one unit a character, also where wchar_t is wider. While
 * the wide conversions are closed, the result is empty. */
QZ_API std::wstring iconv_utf8_to_wchar(const std::string& text);
QZ_API std::string iconv_utf8_from_wchar(const std::wstring& text);

} // namespace Common

#endif

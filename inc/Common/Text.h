/* Conversions between UTF-8, wide text and the user's local character set. C++ only, for programs
 * built by the library's compiler.
 *
 * Conversions never fail: what cannot be converted becomes "?", one for each input unit that is not
 * understood (a byte, or a unit of wide text). Characters beyond the first plane (emoji, say) have
 * no place in wide text of one unit a character and become U+FFFD.
 *
 * Wide conversions give the same results on both targets. So do local ones for the single-byte sets
 * and GB18030; the tables of some East Asian sets (EUC-JP, EUC-KR, SHIFT_JIS, BIG5, CP932) differ
 * between GNU libiconv, which Windows uses, and the C library in a few characters, "UTF-16" without
 * a byte order is big-endian on Windows and the processor's own on Linux, and with "UTF-8" as the
 * local set Linux passes code points beyond Unicode through.
 */
#ifndef QZCORE_COMMON_TEXT_H
#define QZCORE_COMMON_TEXT_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <cstddef>
#include <string>

namespace Common {

/* One code point as UTF-8, as UTF8_putc writes it. */
QZ_API std::string uni2mbstr(unsigned int code_point);

/* `count` characters of a UTF-8 text, from the character with index `first` on; both stop at the
 * text's first NUL byte. A character is a lead byte and as many of the continuation bytes it
 * announces as follow. */
QZ_API std::string utf8_substr(const std::string& text, std::size_t first, std::size_t count);

/* Opens the conversions below. charset: a name that iconv knows, for example "windows-1251" or
 * "ISO-8859-7". Local and wide conversions are each opened in both directions or not
 * at all; those that are open already stay as they are. With an unknown name, or without memory or
 * descriptors, they stay closed. Safe to call from any thread, like all of these. */
QZ_API void iconv_local_init(const std::string& charset);

/* Closes them again. */
QZ_API void iconv_local_exit();

/* To and from the local character set. The input comes back unchanged while they are not open. */
QZ_API std::string iconv_local_from_utf8(const std::string& text);
QZ_API std::string iconv_local_to_utf8(const std::string& text);

/* To and from wide text: UCS-2, one character a unit, also where wchar_t is wider. The result is
 * empty while they are not open. */
QZ_API std::wstring iconv_utf8_to_wchar(const std::string& text);
QZ_API std::string iconv_utf8_from_wchar(const std::wstring& text);

} // namespace Common

#endif

/* Strings and paths. C++ only, for programs built by the library's compiler.
 *
 * Texts are UTF-8. Both "/" and "\" are separators. normalizePath makes keys to compare and store,
 * with forward slashes and in lower case. Names of files in the virtual file system have other
 * rules (VFS/Paths.h).
 *
 * The C library changes the case of characters in the process's locale. In the locale "C", Linux
 * changes only the letters of ASCII.
 *
 * Threads: any.
 */
#ifndef QZCORE_UTIL_STRINGS_H
#define QZCORE_UTIL_STRINGS_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <string>

namespace qz {

/* Return the text in lower or upper case. Characters are decoded by UTF8_getc, with its reversed
 * groups. Those beyond the first plane lose their upper bits. The result ends before the first
 * character whose lower 16 bits are 0, such as a NUL or a sequence that is cut off. Malformed
 * characters become "?". */
QZ_API std::string toLower(const std::string& text);
QZ_API std::string toUpper(const std::string& text);

/* Appends "/", unless the path is empty or ends with a separator: C:\dir becomes C:\dir/. */
QZ_API std::string completePathWithSlash(const std::string& path);

/* Removes all white space. */
QZ_API std::string removeWhiteSpaces(const std::string& text);

/* Returns the path up to its last ".", or all of it. The "." may be in the name of a folder:
 * dir.old/file becomes dir. */
QZ_API std::string removeExtension(const std::string& path);

/* Returns what follows the last "."; empty if there is none. */
QZ_API std::string extractExtension(const std::string& path);

/* Return what follows the last separator, or the whole path; extractFileNameNoExt without the
 * extension. */
QZ_API std::string extractFileName(const std::string& path);
QZ_API std::string extractFileNameNoExt(const std::string& path);

/* Returns the path up to its last separator, which is included; empty if there is none. */
QZ_API std::string extractFolder(const std::string& path);

/* Makes `out` the key of a path. One or several separators in a row become one "/", single-byte
 * letters become lower case, and "." segments are removed, except at the end of the path. ".."
 * segments and one separator in front stay. .\Data\\Scripts/./Main.LUA becomes
 * data/scripts/main.lua.
 *
 * `in` and `out` may be the same string. */
QZ_API void normalizePath(const std::string& in, std::string& out);

} // namespace qz

#endif

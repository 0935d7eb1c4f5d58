/* Strings and paths. C++ only, for programs built by the library's compiler.
 *
 * The functions take UTF-8 and leave their input alone. Both separators count, "/" and "\". What is
 * made here has forward slashes and lower case: keys to compare and store paths under. Paths of the
 * virtual file system are names of files and follow other rules (VFS/Paths.h).
 *
 * Characters are mapped by the C library, in the process's locale: in "C", Linux knows the letters
 * of ASCII alone.
 *
 * Threads: any.
 */
#ifndef QZCORE_UTIL_STRINGS_H
#define QZCORE_UTIL_STRINGS_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <string>

namespace qz {

/* In lower or upper case. Characters are decoded by UTF8_getc, reversed groups and all; those
 * beyond the first plane lose their upper bits, and the result ends before the first one whose
 * lower 16 bits are 0, such as a NUL or a sequence that is cut off. Malformed ones become "?". */
QZ_API std::string toLower(const std::string& text);
QZ_API std::string toUpper(const std::string& text);

/* With "/" at the end, unless it is empty or ends with a separator: C:\dir becomes C:\dir/. */
QZ_API std::string completePathWithSlash(const std::string& path);

/* Without white space, wherever it stands. */
QZ_API std::string removeWhiteSpaces(const std::string& text);

/* Up to the last ".", or all of it. The whole path is looked at, not the file's name alone: if that
 * has no dot, the dot of a folder counts, and dir.old/file becomes dir. */
QZ_API std::string removeExtension(const std::string& path);

/* What follows the last "."; empty without one. */
QZ_API std::string extractExtension(const std::string& path);

/* What follows the last separator, or all of it; the second without its extension. */
QZ_API std::string extractFileName(const std::string& path);
QZ_API std::string extractFileNameNoExt(const std::string& path);

/* Up to and with the last separator; empty without one. */
QZ_API std::string extractFolder(const std::string& path);

/* Makes `out` the key of a path: separators become "/", several in a row one, single-byte letters
 * lower case, and "." segments go, at the end of the path excepted. ".." stays, and so does one
 * separator in front. .\Data\\Scripts/./Main.LUA becomes data/scripts/main.lua.
 *
 * One string may be both. */
QZ_API void normalizePath(const std::string& in, std::string& out);

} // namespace qz

#endif

/* Paths as texts: split, join, normalise, fold case. No function accesses a disk.
 *
 * Paths are UTF-8. "\" is the separator of normalised paths on every system; "/" is accepted
 * everywhere on input.
 *
 * All functions are pure and may be called from any thread. Sizes are in bytes and include the
 * terminator; no function writes past the given size. A null path or a null destination is a
 * failure (0); a destination that has room then holds the empty text.
 */
#ifndef QZCORE_VFS_PATHS_H
#define QZCORE_VFS_PATHS_H

#include "Core/Export.h"

#include <stddef.h>

QZ_EXTERN_C_BEGIN

/* Splits a path at its last separator, which belongs to neither part: a\b\c gives a\b and c, \c
 * gives the empty text and c.
 *
 * directory: receives the part before the separator, with "\" for every separator; may be null.
 * file: receives a pointer into `path`, to what follows the separator; may be null.
 *
 * Returns 1; 0 if the directory part does not fit, with `*file` set and the buffer unchanged. A
 * path without a separator is only a file name: the directory becomes the empty text (if size is
 * not 0), and the result is 1. */
QZ_API unsigned int VFS_path_split(const char* path, char* directory, size_t size,
                                   const char** file);

/* Copies a path, with one "\" for each run of separators. Each of the first two characters is
 * copied, so that the "\\" in front of a network path stays. "." and ".." segments, case and a
 * separator at the end stay, too. `destination` may be `source`.
 *
 * Returns 1; 0 if the path was cut to fit. The result is terminated unless size is 0. */
QZ_API unsigned int VFS_path_normalize(char* destination, size_t size, const char* source);

/* Copies a path with the separators of the system, for functions of other libraries: "/" for every
 * "\" on Linux, "\" for every "/" on Windows. Nothing else changes. `destination` may be `source`.
 *
 * Returns 1; 0 if the path was cut to fit. The result is terminated unless size is 0. */
QZ_API unsigned int VFS_path_native(char* destination, size_t size, const char* source);

/* Copies a path with its letters in lower case; separators do not change.
 *
 * Each character is read by UTF8_getc and written by UTF8_putc, with the low 16 bits of its code
 * point. UTF8_getc reverses the groups of three- and four-byte characters, so these become other
 * characters: the result is a key to compare and store, not a path to open or to show. This stays,
 * because stored keys are compared with new ones.
 *
 * Lower case is that of the runtime library's towlower: in the "C" locale, which is the default,
 * only the letters of ASCII change.
 *
 * A stray byte becomes "?"; a sequence that the terminator cuts off ends the text. Returns 1; 0 if
 * the result was cut to fit. It is terminated unless size is 0. The buffers must not overlap. */
QZ_API unsigned int VFS_path_normcase(char* destination, size_t size, const char* source);

/* Appends a relative path to a base, with one separator between them.
 *
 * base: normalised into the destination first; null means the empty path. The destination itself
 * may be the base, if it is a terminated text of less than size bytes; then only its slashes become
 * backslashes.
 *
 * relative: normalised and appended. Separators in front of it are dropped, so it cannot replace
 * the base. Null appends nothing, not even a separator. Must not be within the destination.
 *
 * Returns 1; 0 if the result does not fit, with a terminated part of it in the destination. */
QZ_API unsigned int VFS_path_join(char* destination, size_t size, const char* base,
                                  const char* relative);

QZ_EXTERN_C_END

#endif

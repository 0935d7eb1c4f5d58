/* Paths as texts: split, join, normalise, fold case. No function here looks at a disk.
 *
 * Paths are UTF-8. "\" is the separator of normalised paths on every system; "/" is accepted
 * everywhere on input.
 *
 * All functions are pure and may be called from any thread. None writes past the size it is given;
 * sizes are in bytes and count the terminator. A null path or a null destination is a failure (0);
 * a destination that has room then holds the empty text.
 */
#ifndef QZCORE_VFS_PATHS_H
#define QZCORE_VFS_PATHS_H

#include "Core/Export.h"

#include <stddef.h>

QZ_EXTERN_C_BEGIN

/* Splits a path at its last separator, which belongs to neither part: a\b\c gives a\b and c, \c
 * gives the empty text and c.
 *
 * directory: takes the part before the separator, with "\" for every separator; may be null if only
 *   the file name is wanted.
 * file: receives a pointer into `path`, to what follows the separator; may be null.
 *
 * Returns 1; 0 if the directory part does not fit, with `*file` set and the buffer left alone. A
 * path without a separator is all file name: the directory becomes the empty text (nothing is
 * written without room) and the result is 1. */
QZ_API unsigned int VFS_path_split(const char* path, char* directory, size_t size,
                                   const char** file);

/* Copies a path, with "\" for every separator and one for a run of them. The first two characters
 * are kept as they are but for that, so the "\\" in front of a network path survives. "." and ".."
 * segments, case and a separator at the end stay. `destination` may be `source`.
 *
 * Returns 1; 0 if the path was cut to fit, terminated all the same unless size is 0. */
QZ_API unsigned int VFS_path_normalize(char* destination, size_t size, const char* source);

/* Copies a path with the separators of the system, for functions that are not this library's: "/"
 * for every "\" on Linux, "\" for every "/" on Windows. Nothing else changes. `destination` may be
 * `source`.
 *
 * Returns 1; 0 if the path was cut to fit, terminated all the same unless size is 0. */
QZ_API unsigned int VFS_path_native(char* destination, size_t size, const char* source);

/* Copies a path with its letters in lower case; separators are left as they are.
 *
 * Each character is read by UTF8_getc and written by UTF8_putc, by the low 16 bits of its code
 * point. Because of the order in which UTF8_getc puts the groups of three- and four-byte
 * characters, those do not come out as themselves: the result is a key to compare and store, not a
 * path to open or to show. Stored keys are compared with new ones, so this stays.
 *
 * Lower case is the runtime library's towlower: in the "C" locale, which a process has until it
 * sets another one, the letters of ASCII alone.
 *
 * A stray byte becomes "?"; a sequence that the terminator cuts short ends the text. Returns 1; 0
 * if the result was cut to fit, terminated all the same unless size is 0. The buffers must not
 * overlap. */
QZ_API unsigned int VFS_path_normcase(char* destination, size_t size, const char* source);

/* Appends a relative path to a base, with one separator between them.
 *
 * base: normalised into the destination first; null stands for the empty path. The destination
 * itself may be the base, a terminated text of less than size bytes; its slashes become backslashes
 * then and nothing else changes.
 *
 * relative: normalised and appended. Separators in front of it are dropped, so it can never discard
 * the base. Null appends nothing, not even a separator. Must not lie within the destination.
 *
 * Returns 1; 0 if the result does not fit, with a terminated part of it in the destination. */
QZ_API unsigned int VFS_path_join(char* destination, size_t size, const char* base,
                                  const char* relative);

QZ_EXTERN_C_END

#endif

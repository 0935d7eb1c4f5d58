/* Records: numbers and byte strings in files, one after the other, without header, alignment or
 * padding.
 *
 * Numbers are little-endian on every system. An "mbint" is an unsigned number in as many bytes as
 * it needs: 7 bits a byte, the lowest first, bit 7 set on all but the last. A string is its length
 * as an mbint and then its bytes, without terminator.
 *
 * The end of the file reads as zeros, quietly; who needs to tell it from zeros that are stored asks
 * VFS_tell and VFS_getsize. A null file logs one ERROR line (module "VFS") for each access,
 * "VFS_read(NULL)" and so on, and gives 0; other errors are logged as VFS/File.h says.
 *
 * Threads: as for the file.
 */
#ifndef QZCORE_VFS_BINARY_H
#define QZCORE_VFS_BINARY_H

#include "Core/Export.h"
#include "VFS/File.h"

#include <stddef.h>
#include <stdint.h>

QZ_EXTERN_C_BEGIN

/* Write a number in 1, 2, 4 or 8 bytes, with one write. Return the bytes written. */
QZ_API size_t VFS_put_uint8(VFS_File* file, uint8_t value);
QZ_API size_t VFS_put_uint16(VFS_File* file, uint16_t value);
QZ_API size_t VFS_put_uint32(VFS_File* file, uint32_t value);
QZ_API size_t VFS_put_uint64(VFS_File* file, uint64_t value);

/* Read such a number, with one read. Bytes that the file no longer has, the high ones, are zero. */
QZ_API uint8_t VFS_get_uint8(VFS_File* file);
QZ_API uint16_t VFS_get_uint16(VFS_File* file);
QZ_API uint32_t VFS_get_uint32(VFS_File* file);
QZ_API uint64_t VFS_get_uint64(VFS_File* file);

/* Writes an mbint: 1 to 10 bytes, each with a write of its own. Returns what the last of these
 * writes returned: 1, or 0 if it failed. */
QZ_API size_t VFS_put_mbint(VFS_File* file, uint64_t value);

/* Reads an mbint, byte by byte; the end of the file ends it as a zero byte would.
 *
 * There is no limit to its bytes: more than ten, which no writer makes, are read to the last, and
 * the bits from the 65th on go round and are joined to the lowest by OR: malformed files are read
 * alike everywhere. */
QZ_API uint64_t VFS_get_mbint(VFS_File* file);

/* Writes a string of any bytes. Returns how many of them, the length apart, were written. */
QZ_API size_t VFS_put_string(VFS_File* file, const void* data, size_t length);

/* Reads a string into a buffer of `size` bytes and terminates it there; the file is left behind the
 * string's last byte, whether or not all of it was wanted.
 *
 * A string of `size` bytes or more is cut to size - 1. Without a buffer (null, or size 0) the
 * string is only skipped.
 *
 * Returns the length that the file tells, which may be more than was stored in the buffer, and more
 * than the file has: then the position is behind the file's end, or at it if there is no such
 * position. So `size` or more means that the string was cut, and what the buffer holds is its first
 * size - 1 bytes or fewer. 0 if the file's read operation reports more than it was asked for. */
QZ_API uint64_t VFS_get_string(VFS_File* file, char* buffer, size_t size);

QZ_EXTERN_C_END

#endif

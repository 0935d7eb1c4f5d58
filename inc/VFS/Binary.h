/* Writes and reads numbers and byte strings in files, one after the other, without header,
 * alignment or padding.
 *
 * Numbers are little-endian on every system. An "mbint" is an unsigned number in as many bytes as
 * it needs: 7 bits a byte, the lowest first, with bit 7 set in all but the last. A string is its
 * length as an mbint and then its bytes, without terminator.
 *
 * Reading past the end of the file gives zeros and logs nothing; VFS_tell and VFS_getsize tell
 * whether zeros are stored. (For VFS_get_string see there.) A null file logs one ERROR line (module
 * "VFS") for each access, "VFS_read(NULL)" and so on, and gives 0; other errors are logged as
 * VFS/File.h says.
 *
 * Threads: as for the file (VFS/File.h).
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

/* Read such a number, with one read. If the file ends before, the missing high bytes are zero. */
QZ_API uint8_t VFS_get_uint8(VFS_File* file);
QZ_API uint16_t VFS_get_uint16(VFS_File* file);
QZ_API uint32_t VFS_get_uint32(VFS_File* file);
QZ_API uint64_t VFS_get_uint64(VFS_File* file);

/* Writes an mbint: 1 to 10 bytes, with one write for each. Returns the result of the last write: 1,
 * or 0 if it failed. */
QZ_API size_t VFS_put_mbint(VFS_File* file, uint64_t value);

/* Reads an mbint, byte by byte; the end of the file ends it as a zero byte would.
 *
 * There is no limit to its bytes. More than ten, which VFS_put_mbint never writes, are all read:
 * bits from the 65th on wrap around and are joined to the lowest bits by OR, so that malformed
 * files give the same result on every system. */
QZ_API uint64_t VFS_get_mbint(VFS_File* file);

/* Writes a string of any bytes. Returns the number of bytes written, without those of the length.
 */
QZ_API size_t VFS_put_string(VFS_File* file, const void* data, size_t length);

/* Reads a string into a buffer of `size` bytes and terminates it there. The position moves behind
 * the string's last byte, even if not all of it was stored.
 *
 * A string of `size` bytes or more is cut to size - 1. Without a buffer (null, or size 0) the
 * string is only skipped.
 *
 * Returns the length that is stored in the file. If it is `size` or more, the string was cut, and
 * the buffer holds its first size - 1 bytes or fewer. If the file has fewer bytes than this length,
 * the position is behind the file's end, or at the end if there is no such position. The system
 * may then refuse a seek, which logs an ERROR line. To recognise a damaged file, compare the length
 * and the position with VFS_getsize. Returns 0 if the file's read operation reports more bytes than
 * it was asked for. */
QZ_API uint64_t VFS_get_string(VFS_File* file, char* buffer, size_t size);

QZ_EXTERN_C_END

#endif

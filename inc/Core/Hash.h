/* 32-bit hashes of blocks, texts and integers: MurmurHash2, the same on every machine.
 *
 * Results are 32 bits wide and returned in a wider unsigned integer. The functions are pure and may
 * be called from any thread. They are fast and well distributed, but do not resist inputs that were
 * chosen to collide.
 */
#ifndef QZCORE_CORE_HASH_H
#define QZCORE_CORE_HASH_H

#include "Core/Export.h"

#include <stddef.h>
#include <stdint.h>

QZ_EXTERN_C_BEGIN

/* Hashes `length` bytes. data may be null when length is 0. Blocks of 4 GiB and more are hashed
 * whole, but only the low 32 bits of their length are mixed into the seed. */
QZ_API uint64_t QZ_hash_data(const void* data, size_t length, uint32_t seed);

/* Hashes a text up to its terminator, in one pass. The length is not mixed into the seed, so the
 * result differs from QZ_hash_data of the same bytes.
 *
 * The text is read sixteen bytes at a time, so up to fifteen bytes behind the terminator are read,
 * never across a page. Memory checkers may complain about that. */
QZ_API uint64_t QZ_hash_string(const char* text, uint32_t seed);

/* QZ_hash_data of the value's little-endian bytes with seed 0. */
QZ_API uint64_t QZ_hash_uint32(uint32_t value);
QZ_API uint64_t QZ_hash_uint64(uint64_t value);

QZ_EXTERN_C_END

#endif

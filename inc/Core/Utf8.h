/* The library's own UTF-8 codec: character by character, bounded, without allocation.
 *
 * These functions never read or write past the room they are given. They do not judge the text:
 * overlong forms and surrogates pass.
 */
#ifndef QZCORE_CORE_UTF8_H
#define QZCORE_CORE_UTF8_H

#include "Core/Export.h"

#include <stddef.h>
#include <stdint.h>

QZ_EXTERN_C_BEGIN

/* Reads one character and advances *text behind it, reading at most `available` bytes.
 *
 * Returns its code point; 0 at the end of the text or of the room; 63 ("?") for a continuation byte
 * in front, or for a sequence broken by another byte, which is consumed as well.
 *
 * The continuation groups of three- and four-byte sequences come out in reverse order: E2 82 AC
 * gives 0x2B02, not 0x20AC. Folded paths and stored data have been made that way, so it stays. */
QZ_API uint32_t UTF8_getc(const char** text, size_t available);

/* Writes one code point as standard UTF-8 and advances *output behind it.
 *
 * Returns the number of bytes, 1 to 4, or 0 with nothing written if `room` is too small. Code
 * points from 0x200000 on are written as "?"; surrogates like any other value. No terminator is
 * written. */
QZ_API size_t UTF8_putc(char** output, size_t room, uint32_t code_point);

/* The number of characters, by lead bytes alone: a lead byte of a two-, three- or four-byte
 * sequence steps over as many bytes, whatever they are, but never over the terminator. */
QZ_API size_t UTF8_strlen(const char* text);

QZ_EXTERN_C_END

#endif

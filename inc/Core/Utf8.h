/* The library's own UTF-8 codec, which converts one character at a time and never allocates.
 *
 * These functions never read or write past the room they are given. They do not validate the text:
 * overlong forms and surrogates are accepted.
 */
#ifndef QZCORE_CORE_UTF8_H
#define QZCORE_CORE_UTF8_H

#include "Core/Export.h"

#include <stddef.h>
#include <stdint.h>

QZ_EXTERN_C_BEGIN

/* Reads one character and advances *text behind it, reading at most `available` bytes.
 *
 * Returns its code point; 0 at the end of the text or of the room; 63 ("?") for a character that
 * begins with a continuation byte, or for a sequence broken by another byte, which is consumed as
 * well.
 *
 * The groups of six bits of three- and four-byte sequences come out in reverse order: E2 82 AC
 * gives 0x2B02, not 0x20AC. This stays, because folded paths and stored data were made that way. */
QZ_API uint32_t UTF8_getc(const char** text, size_t available);

/* Writes one code point as standard UTF-8 and advances *output behind it.
 *
 * Returns the number of bytes, 1 to 4, or 0 with nothing written if `room` is too small. Code
 * points from 0x200000 on are written as "?", surrogates like any other code point. No terminator
 * is written. */
QZ_API size_t UTF8_putc(char** output, size_t room, uint32_t code_point);

/* Returns the number of characters, counted by lead bytes alone: the lead byte of a sequence of
 * two, three or four bytes skips that many bytes, whatever they are, but never the terminator. */
QZ_API size_t UTF8_strlen(const char* text);

QZ_EXTERN_C_END

#endif

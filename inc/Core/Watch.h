/* The watch table: live values by name.
 *
 * A part of the engine registers a name and a callback that prints its current value; a diagnostic
 * display lists the names and asks for one value or all of them. There are 16 places. The library
 * itself registers "Main pool", "Lua" and others when it is loaded.
 *
 * Threads: any. One mutex is held during each call, callbacks included, so a callback must not call
 * these functions.
 */
#ifndef QZCORE_CORE_WATCH_H
#define QZCORE_CORE_WATCH_H

#include "Core/Export.h"

#include <stddef.h>

QZ_EXTERN_C_BEGIN

/* Prints a value into buffer, at most size bytes with the terminator. Returns the number of
 * characters of the whole value, without the terminator, even if they did not all fit. Callers and
 * callbacks agree on the meaning of mode. */
typedef size_t (*QZ_watch_callback)(unsigned int mode, char* buffer, size_t size, void* data);

/* Receives one name; the text is valid during the call only. */
typedef void (*QZ_watch_list_function)(const char* name, void* context);

/* Registers a watch. Names are cut at 31 bytes, but not within a character, here and in the
 * functions below.
 *
 * Returns 1 if it was registered, 0 if the table is full or the name is taken; a watch is never
 * replaced. With a null callback it removes the watch of that name and returns 1, or returns 0 if
 * there is none. */
QZ_API int QZ_watch_set(const char* name, QZ_watch_callback callback, void* data);

/* Removes the watch of that name, if there is one. */
QZ_API void QZ_watch_reset(const char* name);

/* Prints the value of one watch; returns its callback's result, or 0 if there is no such watch. */
QZ_API size_t QZ_watch_get_one(const char* name, unsigned int mode, char* buffer, size_t size);

/* Prints all watches, one on a line, as "name: value". Returns the number of characters written, or
 * size if they did not fit; then the output may end in "<...>". The output is terminated unless
 * size is 0. */
QZ_API size_t QZ_watch_get_all(unsigned int mode, char* buffer, size_t size);

/* Calls function(name, context) for each watch, in the order of their places. */
QZ_API void QZ_watch_get_list(QZ_watch_list_function function, void* context);

QZ_EXTERN_C_END

#endif

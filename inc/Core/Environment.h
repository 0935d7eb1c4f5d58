/* The process's executable, command line, arguments and environment, as UTF-8.
 *
 * SYS_bindir, SYS_cmdline, SYS_argc and SYS_argv ask the system once and always return the same.
 * The texts belong to the library and stay valid while it is loaded. If the system cannot tell, for
 * example because no descriptor is free, or there is no memory, the texts are empty and there are
 * no arguments; the next call asks again. On Linux a program that changes its argv, for instance to
 * hide a password, calls SYS_cmdline and SYS_argv before. Any thread may call these functions. On
 * Linux it is unsafe, as always there, to change the environment while another thread reads it
 * through the C library.
 */
#ifndef QZCORE_CORE_ENVIRONMENT_H
#define QZCORE_CORE_ENVIRONMENT_H

#include "Core/Export.h"

#include <stddef.h>

QZ_EXTERN_C_BEGIN

/* Returns the directory of the process's executable, with the system's own separators and none at
 * its end: "" or "C:" if that is the root, so append a separator before you open it. On Linux it
 * has the system's bytes, even if they are not valid text. */
QZ_API const char* SYS_bindir(void);

/* Returns the whole command line: on Windows as it was given, on Linux the arguments, quoted where
 * necessary so that a shell would split them in the same way. "#error" if it is not valid text. */
QZ_API const char* SYS_cmdline(void);

/* Returns the number of arguments, the program's name included. */
QZ_API int SYS_argc(void);

/* Returns the arguments, followed by a null pointer. An argument that is not valid text is
 * "#error". */
QZ_API const char* const* SYS_argv(void);

/* Reads a variable into buffer, which has room for size bytes, the terminator included.
 *
 * Returns 1 on success. Otherwise returns 0 and leaves the buffer alone: without a log line if the
 * variable is not set or is empty, or memory runs out; with one ERROR line if the name or the value
 * is not valid text, or the value does not fit. */
QZ_API int SYS_getenv(const char* name, char* buffer, size_t size);

/* Sets a variable of this process; a null or empty value removes it. Returns non-zero on success. A
 * name or value that is not valid text, or has 32,768 UTF-16 units or more, is refused with one
 * ERROR line. On Windows getenv does not see the change: the C library has a copy of its own. */
QZ_API int SYS_putenv(const char* name, const char* value);

QZ_EXTERN_C_END

#endif

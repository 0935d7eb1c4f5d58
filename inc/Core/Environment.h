/* The process as UTF-8: executable, command line, arguments, environment.
 *
 * The first call of SYS_bindir, SYS_cmdline and of SYS_argc or SYS_argv computes what later calls
 * return; the texts belong to the library and stay valid while it is loaded. Where the system does
 * not tell, because no descriptor is free for instance, or there is no memory, the texts are empty
 * and there are no arguments; the next call asks again. Any thread may call them. The environment
 * is the process's own; changing it while another thread reads it through the C library is unsafe
 * on Linux, as there always.
 */
#ifndef QZCORE_CORE_ENVIRONMENT_H
#define QZCORE_CORE_ENVIRONMENT_H

#include "Core/Export.h"

#include <stddef.h>

QZ_EXTERN_C_BEGIN

/* The directory of the process's executable, in the system's own notation, without a separator at
 * its end. */
QZ_API const char* SYS_bindir(void);

/* The whole command line: on Windows as it was given, on Linux the arguments, quoted where they
 * have to be so that a shell would split them again the same way. "#error" if it is not valid text.
 */
QZ_API const char* SYS_cmdline(void);

/* The number of arguments, the program's name included. */
QZ_API int SYS_argc(void);

/* The arguments; a null pointer follows the last one. One that is not valid text reads "#error". */
QZ_API const char* const* SYS_argv(void);

/* Reads a variable into buffer, which has room for size bytes, the terminator included.
 *
 * Returns 1; 0 if the variable is not set or is empty, or memory runs out (silently), or if the
 * name or the value is not valid text or the value does not fit (with one ERROR line in the log;
 * the buffer is left alone). */
QZ_API int SYS_getenv(const char* name, char* buffer, size_t size);

/* Sets a variable of this process; a null or empty value removes it. Returns non-zero on success; a
 * name or value that is not valid text is refused with one ERROR line. */
QZ_API int SYS_putenv(const char* name, const char* value);

QZ_EXTERN_C_END

#endif

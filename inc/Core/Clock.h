/* The clock of log lines and frame pacing: monotonic, of high resolution.
 *
 * It counts from the moment the library is loaded, which makes the first clock call. Any thread may
 * call these functions.
 */
#ifndef QZCORE_CORE_CLOCK_H
#define QZCORE_CORE_CLOCK_H

#include "Core/Export.h"

#include <stdint.h>

QZ_EXTERN_C_BEGIN

/* Ticks since the first clock call. */
QZ_API int64_t QZ_get_ticks(void);

/* Ticks per second; the same for the whole life of the process. */
QZ_API int64_t QZ_get_tick_rate(void);

/* Seconds since the first clock call. */
QZ_API double QZ_get_time(void);

QZ_EXTERN_C_END

#endif

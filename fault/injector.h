/* The functions of the preloaded injector that a driver calls. They are weak: without the injector
 * they are null, and a driver only does its work. */
#ifndef QZ_FAULT_INJECTOR_H
#define QZ_FAULT_INJECTOR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Resources in use that were taken through calls that the injector sees. */
typedef struct fault_usage {
    int64_t bytes;  /* of the heap and of the library's pools */
    int64_t blocks; /* number of blocks with these bytes */
    int64_t mapped; /* bytes mapped into memory */
} fault_usage;

/* Calls of all threads are counted, and fail, only between these two. */
__attribute__((weak)) void fault_begin(void);
__attribute__((weak)) void fault_end(void);

/* Stops counting the calls of this thread, with 1, and counts them again, with -1. */
__attribute__((weak)) void fault_aside(int change);

/* How many calls failed on purpose so far. */
__attribute__((weak)) unsigned fault_fired(void);

__attribute__((weak)) fault_usage fault_in_use(void);

/* Calls `visit` with each kind of call and the number of such calls. */
__attribute__((weak)) void fault_counts(void (*visit)(const char* kind, unsigned long count));

#ifdef __cplusplus
}
#endif

#endif

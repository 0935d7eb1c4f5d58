/* What a driver asks of the injector that is preloaded into it. The functions are weak: without the
 * injector they are null, and a driver simply does its work. */
#ifndef QZ_FAULT_INJECTOR_H
#define QZ_FAULT_INJECTOR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What is in use of what was taken through the calls that the injector sees. */
typedef struct fault_usage {
    int64_t bytes;  /* of the heap and of the library's pools */
    int64_t blocks; /* of them */
    int64_t mapped; /* bytes mapped into memory */
} fault_usage;

/* Only calls between the two count, and fail; those of all threads. */
__attribute__((weak)) void fault_begin(void);
__attribute__((weak)) void fault_end(void);

/* Puts the calls of this thread aside, with 1, and counts them again, with -1. */
__attribute__((weak)) void fault_aside(int change);

/* How many calls failed on purpose so far. */
__attribute__((weak)) unsigned fault_fired(void);

__attribute__((weak)) fault_usage fault_in_use(void);

/* Calls back with each kind of call and how many there were. */
__attribute__((weak)) void fault_counts(void (*visit)(const char* kind, unsigned long count));

#ifdef __cplusplus
}
#endif

#endif

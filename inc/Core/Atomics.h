/* Atomic operations on plain words, and two lock-free intrusive containers.
 *
 * Words are 32 bits or a pointer wide and naturally aligned. Each operation is indivisible and a
 * full memory barrier. While other threads may see a word, write it with these functions only.
 *
 * Containers hold elements of any type whose first member is a pointer, the link. While an element
 * is in a container, the link belongs to the container, and nobody else uses the element. Pushing
 * and popping never allocate. A thread locks the container for the length of two stores; another
 * thread that comes meanwhile spins, and yields its processor only if the first thread was
 * interrupted. Signal handlers must not use them.
 */
#ifndef QZCORE_CORE_ATOMICS_H
#define QZCORE_CORE_ATOMICS_H

#include "Core/Export.h"

#include <stdint.h>

QZ_EXTERN_C_BEGIN

/* Add 1 or subtract 1; return the new value. The value wraps around. */
QZ_API int32_t QZ_atomic_inc(int32_t* word);
QZ_API int32_t QZ_atomic_dec(int32_t* word);

/* Stores 0 and returns the old value. */
QZ_API uint32_t QZ_atomic_reset(uint32_t* word);

/* Stores `desired` if the word holds `expected`. Returns 1 if it did, else 0. The word is the last
 * argument, unlike in most such functions. */
QZ_API int QZ_atomic_cas_ptr(void* expected, void* desired, void** word);

/* These do nothing, because the operations above already order memory. Calls document the caller's
 * intention. */
QZ_API void QZ_atomic_full_barrier(void);
QZ_API void QZ_atomic_read_barrier(void);
QZ_API void QZ_atomic_write_barrier(void);

/* A last-in first-out stack for any number of pushing and popping threads. A stack whose bytes are
 * all zero is empty. */
typedef struct QZ_atomic_stack {
    uintptr_t head; /* the top element; 0: empty; all ones: locked by a pop in progress */
} QZ_atomic_stack;

QZ_API void QZ_atomic_stack_init(QZ_atomic_stack* stack);
QZ_API void QZ_atomic_stack_push(QZ_atomic_stack* stack, void* element);

/* Returns the element pushed last, or null if the stack is empty. */
QZ_API void* QZ_atomic_stack_pop(QZ_atomic_stack* stack);

/* Does nothing; a stack needs no closing. */
QZ_API void QZ_atomic_stack_close(QZ_atomic_stack* stack);

/* A first-in first-out queue for any number of pushing threads and one popping thread; the caller
 * ensures that only one pops. It must be initialised, and must not be moved afterwards. */
typedef struct QZ_atomic_gather {
    uintptr_t first; /* the oldest element, or the queue itself when empty */
    uintptr_t last;  /* the newest element, or the queue itself; all ones: a push in progress */
} QZ_atomic_gather;

QZ_API void QZ_atomic_gather_init(QZ_atomic_gather* queue);
QZ_API void QZ_atomic_gather_push(QZ_atomic_gather* queue, void* element);

/* Returns the oldest element, or null if the queue is empty. */
QZ_API void* QZ_atomic_gather_pop(QZ_atomic_gather* queue);

/* Does nothing; a queue needs no closing. */
QZ_API void QZ_atomic_gather_close(QZ_atomic_gather* queue);

QZ_EXTERN_C_END

#endif

/* Threads, semaphores and mutexes: thin wrappers of the platform's own.
 *
 * Handles are opaque and owned by the caller, who gives each back with the function named for it,
 * once. Nothing here logs; results are passed on as the platform gives them. Every function may be
 * called from any thread. A null handle is not allowed.
 */
#ifndef QZCORE_CORE_THREADS_H
#define QZCORE_CORE_THREADS_H

#include "Core/Export.h"

#include <stdint.h>

QZ_EXTERN_C_BEGIN

typedef struct QZ_thread QZ_thread;
typedef struct QZ_semaphore QZ_semaphore;
typedef struct QZ_mutex QZ_mutex;

/* What a thread runs. The result is dropped. It must not throw. */
typedef void* (*QZ_thread_function)(void* argument);

/* Starts a thread with the platform's default stack that calls function(argument).
 * flags are stored and not used. Returns null with errno set if the thread cannot be started. */
QZ_API QZ_thread* QZ_thread_create(QZ_thread_function function, void* argument, uint32_t flags);

/* Waits, without limit, until the thread has ended, and frees the handle. Every created thread is
 * waited for, exactly once, and not by itself. */
QZ_API void QZ_thread_wait(QZ_thread* thread);

/* Gives the calling thread what the threads have that QZ_thread_create starts and those that run
 * tasks: the overflow of its stack leaves a crash report (Core/CrashReport.h). For threads that the
 * host starts by other means; the one that calls bt_init has it already.
 *
 * On Linux that is an alternate stack for signal handlers, 64 KiB of which untouched pages cost
 * nothing; one that the thread has is left in place. On Windows 32 KiB of the thread's own stack
 * are kept for the filter. It is given back when the thread ends, and on Linux the library stays
 * loaded from the first call on. Further calls cost a system call and change nothing.
 *
 * Returns non-zero if the thread has it, 0 if the system has no memory for it. */
QZ_API int QZ_thread_adopt(void);

/* Names the calling thread, for debuggers, the system's lists of threads and the profiler's traces
 * (Common/Profiler.h). Names are UTF-8, cut at 15 bytes, which is what Linux keeps; null is the
 * empty name. On Linux a thread begins with the name of the one that started it. Systems older than
 * Windows 10 keep no names; then this does nothing. The library's own threads are "qz log", "qz
 * worker" and "qz paths". */
QZ_API void QZ_thread_set_name(const char* name);

/* Makes a counting semaphore; counts reach from 0 to 0x7FFFFFFF. Null if the platform refuses. */
QZ_API QZ_semaphore* QZ_semaphore_create(int32_t initial_count);

/* Frees the semaphore; nobody may be waiting for it. */
QZ_API void QZ_semaphore_destroy(QZ_semaphore* semaphore);

/* Adds one count and wakes a waiting thread if there is one. Returns non-zero on success, 0 when
 * the count is at its maximum. */
QZ_API int QZ_semaphore_signal(QZ_semaphore* semaphore);

/* Waits, without limit, for a count and takes it. Returns 0 when it was taken. */
QZ_API int QZ_semaphore_wait(QZ_semaphore* semaphore);

/* Takes a count if one is there. Returns 1 if it was taken, 0 if not; never waits. */
QZ_API int QZ_semaphore_trywait(QZ_semaphore* semaphore);

/* Makes a mutex that its owner may lock again; each lock wants its unlock. Null if there is no
 * memory for it. */
QZ_API QZ_mutex* QZ_mutex_create(void);

/* Frees the mutex; nobody may hold it. */
QZ_API void QZ_mutex_destroy(QZ_mutex* mutex);

QZ_API void QZ_mutex_lock(QZ_mutex* mutex);

/* Returns non-zero if the mutex was free, or the caller's own, and is now locked. */
QZ_API int QZ_mutex_trylock(QZ_mutex* mutex);

/* Gives up one lock; for the owner only. */
QZ_API void QZ_mutex_unlock(QZ_mutex* mutex);

QZ_EXTERN_C_END

#endif

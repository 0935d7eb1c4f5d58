/* Threads, semaphores and mutexes: thin wrappers of those of the platform.
 *
 * The caller owns each handle and frees it once: QZ_thread_wait, QZ_semaphore_destroy,
 * QZ_mutex_destroy. No function logs. Every function may be called from any thread. A null handle
 * is not allowed.
 */
#ifndef QZCORE_CORE_THREADS_H
#define QZCORE_CORE_THREADS_H

#include "Core/Export.h"

#include <stdint.h>

QZ_EXTERN_C_BEGIN

typedef struct QZ_thread QZ_thread;
typedef struct QZ_semaphore QZ_semaphore;
typedef struct QZ_mutex QZ_mutex;

/* The function that a thread runs. Its result is dropped. It must not throw. */
typedef void* (*QZ_thread_function)(void* argument);

/* Starts a thread that calls function(argument), with the platform's default stack. flags is not
 * used. Returns null with errno set if the thread cannot be started. The library must stay loaded
 * until the thread has been waited for: the function returns into it. */
QZ_API QZ_thread* QZ_thread_create(QZ_thread_function function, void* argument, uint32_t flags);

/* Waits, without limit, until the thread has ended, and frees the handle. Call it exactly once for
 * each created thread, and not from the thread itself. */
QZ_API void QZ_thread_wait(QZ_thread* thread);

/* Prepares the calling thread so that an overflow of its stack leaves a crash report
 * (Core/CrashReport.h). It is for threads that the host starts by other means than
 * QZ_thread_create; threads that run tasks and the thread that calls bt_init are prepared already.
 *
 * On Linux it makes an alternate stack of 64 KiB for signal handlers, unless the thread has one;
 * pages that are never touched take no memory. The stack is freed when the thread ends, and the
 * library stays loaded from the first call on. On Windows 32 KiB of the thread's own stack are
 * reserved for the filter. Further calls cost a system call and change nothing.
 *
 * Returns non-zero if the thread is prepared, 0 if the system has no memory for that. */
QZ_API int QZ_thread_adopt(void);

/* Names the calling thread, for debuggers, the system's lists of threads and the profiler's traces
 * (Common/Profiler.h). Names are UTF-8, cut at 15 bytes, the limit of Linux; null is the empty
 * name. On Linux a thread begins with the name of the thread that started it. Before Windows 10
 * there are no names; this does nothing there. The library's own threads are "qz log", "qz worker"
 * and "qz paths". */
QZ_API void QZ_thread_set_name(const char* name);

/* Makes a counting semaphore; counts range from 0 to 0x7FFFFFFF. Returns null if the platform
 * refuses. */
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

/* Makes a recursive mutex: its owner may lock it again, and unlocks it as often as it locked it.
 * Returns null if there is no memory. */
QZ_API QZ_mutex* QZ_mutex_create(void);

/* Frees the mutex; nobody may hold it. */
QZ_API void QZ_mutex_destroy(QZ_mutex* mutex);

QZ_API void QZ_mutex_lock(QZ_mutex* mutex);

/* Locks the mutex if it is free or the caller holds it; returns non-zero if it did, never waits. */
QZ_API int QZ_mutex_trylock(QZ_mutex* mutex);

/* Releases one lock. Only the owner may call it. */
QZ_API void QZ_mutex_unlock(QZ_mutex* mutex);

QZ_EXTERN_C_END

#endif

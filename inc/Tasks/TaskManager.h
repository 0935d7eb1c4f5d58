/* The task manager: plain callbacks that run elsewhere than in their caller.
 *
 * - Independent tasks run on a pool of worker threads, in no particular order.
 * - The callbacks of a serial queue run on the same workers, one after another in the order in
 * which they were added; different queues run in parallel.
 * - Main-thread tasks wait until the host runs them, once a frame, within a time budget.
 *
 * There are as many workers as processors, and never fewer than two, so that of two tasks that wait
 * for each other both run. Workers belong to oneTBB, which the host may use for itself as well. A
 * queue that is never empty goes behind the waiting tasks again and again, so everybody makes
 * progress; but a callback that has begun keeps its worker until it returns.
 *
 * Mind the order of the parameters: the argument comes before the function.
 * An argument belongs to the caller; a callback that is discarded is never called, so what its
 * argument points to is not released. What was done before a callback was added is visible to it,
 * and what a callback did is visible to the next one of its queue. A null function is not added.
 *
 * A callback on a worker must not throw: the process would end. An exception of a main-thread task
 * reaches whoever runs it; otherwise no function here throws or reports an error. A callback for
 * which there is no memory is not added, and one line in the log says so. What else is running is
 * not affected.
 *
 * Threads that the system does not give: when a worker cannot be started, plain threads take the
 * place of oneTBB's, as many as are needed, and end when there is nothing to do. If there are none
 * of these to be had either, callbacks wait, one line in the log says so, and each later call of a
 * function that adds, waits or runs main-thread tasks tries again. One that waits for serial queues
 * then runs the callbacks itself, on the calling thread.
 *
 * Life cycle: the first call of any function starts the manager with all its workers and keeps the
 * library loaded until the process ends, because they run its code. Measured on Linux, that call
 * takes 1 ms with 2 workers, 2 ms with 16 and 4 ms with 64, and 35 KiB of memory and 4 MiB of
 * address space for each; a host that minds makes it while it loads. Callbacks that have not begun
 * when the process ends are discarded, never run. On Linux `exit` waits up to two seconds for those
 * that run; on Windows they are gone by then. A host whose
 * callbacks use what it is about to take down calls QZ_shutdown_tasks first.
 *
 * Threads: any thread, callbacks included, may call any function at any time, unless said
 * otherwise.
 */
#ifndef QZCORE_TASKS_TASKMANAGER_H
#define QZCORE_TASKS_TASKMANAGER_H

#include "Core/Export.h"

#include <stddef.h>

QZ_EXTERN_C_BEGIN

typedef void (*QZ_task_function)(void* argument);

/* Has function(argument) called on a worker and returns at once. */
QZ_API void QZ_add_task(void* argument, QZ_task_function function);

/* Returns the identifier of the serial queue of that name, which is made if there is none: 0, 1, 2
 * and so on, in the order of making. Names are compared byte by byte; a null name is the empty one.
 * A queue lives as long as the process. Without memory for one, the result is ~(size_t)0, which is
 * no queue's, and one line in the log says so. */
QZ_API size_t QZ_create_serial_queue(const char* name);

/* Adds function(argument) to the end of a queue and returns at once. Like the other functions, does
 * nothing if there is no such queue. */
QZ_API void QZ_add_serial_queue_task(size_t queue, void* argument, QZ_task_function function);

/* Waits until all of the queue's callbacks have run. It looks ten times a second, so it may return
 * a tenth of a second late; for a queue that is idle it returns at once. Not for the queue's own
 * callbacks, which would wait for themselves. */
QZ_API void QZ_wait_serial_queue(size_t queue);

/* Discards the queue's callbacks that are waiting. The one that is running, or is next on an idle
 * queue, is not affected. The second argument is ignored. */
QZ_API void QZ_clear_serial_queue(size_t queue, int ignored);

/* Runs main-thread tasks until there are none and no callback waits in any serial queue; looks ten
 * times a second. For the main thread: serial callbacks that post work to it can finish.
 *
 * Only waiting callbacks count: each queue's last one may still be running when this returns. */
QZ_API void QZ_wait_all_serial_queues(void);

/* Queues function(argument) for the main thread and returns at once. */
QZ_API void QZ_add_main_thread_task(void* argument, QZ_task_function function);

/* Runs main-thread tasks, in the order in which they were added, in the calling thread, which is
 * meant to be the application's main thread. Returns when there are none, or after the first one
 * that ends when the budget, in seconds, is used up: at least one that waits is always run, and a
 * long one overruns the budget. A budget that is not a number counts as used up. */
QZ_API void QZ_make_main_thread_task(double seconds);

/* Ends the workers, for good: what waits is discarded, for the main thread too; what is added later
 * is discarded, and nothing is waited for any more. Hosts that unload libraries or release objects
 * which callbacks use call it first; others need not.
 *
 * Waits at most `seconds` for callbacks that are running. Returns 1 when none runs any more and the
 * workers have ended; 0 when one is still running, which is then left to itself, or when a
 * callback calls this, for which nothing waits. It may be called again. */
QZ_API int QZ_shutdown_tasks(double seconds);

QZ_EXTERN_C_END

#endif

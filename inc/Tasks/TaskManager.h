/* The task manager: runs callbacks on worker threads, or later on the main thread.
 *
 * - Independent tasks run on a pool of worker threads, in no particular order.
 * - The callbacks of a serial queue run on the same workers, one after another in the order in
 *   which they were added; different queues run in parallel.
 * - Main-thread tasks wait until the host runs them, once a frame, within a time budget.
 *
 * There are as many workers as processors, but at least two, so that two tasks that wait for each
 * other can both run. Workers belong to oneTBB, which the host may also use itself. A serial queue
 * that is never empty goes behind the waiting tasks again and again, so that all make progress; but
 * a callback that has begun keeps its worker until it returns.
 *
 * In the parameter lists the argument comes before the function. The caller owns the argument; a
 * callback that is discarded is never called, and so cannot release its argument. A callback sees
 * all writes made before it was added, and those of the callbacks before it in its queue. A null
 * function is not added.
 *
 * A callback on a worker must not throw: the process would end. An exception of a main-thread task
 * reaches the caller that runs it; otherwise no function here throws or reports an error. If there
 * is no memory for a callback, it is not added, and one line is logged; other callbacks are not
 * affected.
 *
 * If a worker cannot be started, or the host has limited oneTBB (global_control) to fewer threads
 * than these workers and one more, plain threads take the place of those of oneTBB, as many as are
 * needed, and end when there is nothing to do. If these cannot be started either, callbacks wait,
 * one line is logged, and each later call of a function that adds, waits or runs main-thread tasks
 * tries again. A function that waits for serial queues then runs the callbacks itself, on the
 * calling thread. A limit that the host sets only after the first call takes workers away; two
 * tasks that wait for each other may then never both run.
 *
 * Life cycle: the first call of any function starts the manager with all its workers and keeps the
 * library loaded until the process ends, because the workers run its code. Measured on Linux, that
 * call takes 1 ms with 2 workers, 2 ms with 16 and 4 ms with 64, and 35 KiB of memory and 4 MiB of
 * address space for each worker; a host can make it while it loads. Callbacks that have not begun
 * when the process ends are discarded. On Linux `exit` waits up to two seconds for callbacks that
 * are running; on Windows their threads have been killed by then. Before a host destroys objects
 * that callbacks use, it calls QZ_shutdown_tasks.
 *
 * Threads: any thread may call any function at any time, callbacks too, unless said otherwise.
 */
#ifndef QZCORE_TASKS_TASKMANAGER_H
#define QZCORE_TASKS_TASKMANAGER_H

#include "Core/Export.h"

#include <stddef.h>

QZ_EXTERN_C_BEGIN

typedef void (*QZ_task_function)(void* argument);

/* Queues function(argument) for a worker and returns at once. */
QZ_API void QZ_add_task(void* argument, QZ_task_function function);

/* Returns the number of the serial queue of that name, which is made if there is none. Numbers are
 * 0, 1, 2 and so on. Names are compared byte by byte; a null name is the empty one. A queue exists
 * as long as the process. If there is no memory for a new queue, the result is ~(size_t)0, which is
 * never a queue, and one line is logged. */
QZ_API size_t QZ_create_serial_queue(const char* name);

/* Adds function(argument) to the end of a queue and returns at once. This function and those below
 * do nothing if there is no such queue. */
QZ_API void QZ_add_serial_queue_task(size_t queue, void* argument, QZ_task_function function);

/* Waits until all callbacks of the queue have run. It checks ten times a second, so it may return a
 * tenth of a second late; if the queue is idle it returns at once. Callbacks of the same queue must
 * not call it, because they would wait for themselves. Other callbacks may: if no worker has begun
 * with the queue's callbacks, the caller runs them itself, so it must not hold a lock of theirs. */
QZ_API void QZ_wait_serial_queue(size_t queue);

/* Discards the waiting callbacks of the queue, but not the one that is running or about to run. The
 * second argument is ignored. */
QZ_API void QZ_clear_serial_queue(size_t queue, int ignored);

/* Runs main-thread tasks until there are none and no callback waits in any serial queue; checks ten
 * times a second. It is for the main thread, so that serial callbacks that add main-thread tasks
 * can finish. Callbacks on workers must not call it: they keep their workers from the queues.
 *
 * The last callback of each queue may still be running when this returns. */
QZ_API void QZ_wait_all_serial_queues(void);

/* Queues function(argument) for the main thread and returns at once. */
QZ_API void QZ_add_main_thread_task(void* argument, QZ_task_function function);

/* Runs main-thread tasks, in the order in which they were added, on the calling thread, which is
 * meant to be the application's main thread. Returns when there are none left, or when the budget,
 * in seconds, is used up after a task. So at least one waiting task is run, and a long one overruns
 * the budget. A budget of not-a-number counts as used up. */
QZ_API void QZ_make_main_thread_task(double seconds);

/* Ends the workers for good. Waiting callbacks are discarded, main-thread tasks too, and so are all
 * that are added later; functions that wait return at once. Call it before you unload libraries or
 * release objects that callbacks use; other hosts need not call it.
 *
 * Waits at most `seconds` for callbacks that are running on workers, but not for one that calls
 * this. Returns 1 when none is running; 0 when one is still running, which then goes on, or when
 * one calls this. The limit does not hold for work that the host itself has given oneTBB: what is
 * running of that may have to end first. Main-thread tasks may call it; it does not wait for those
 * that are running. It may be called again: until it returns 1, objects that callbacks use must not
 * be destroyed.
 *
 * When it returns 1, the workers have ended or are idle for good. They stay idle as long as another
 * thread lives that has made the first call or has added callbacks, or if the host itself uses
 * oneTBB, or if a worker could not be started. */
QZ_API int QZ_shutdown_tasks(double seconds);

QZ_EXTERN_C_END

#endif

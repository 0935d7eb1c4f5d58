/* Lets other programs watch this one while it runs.
 *
 *     while (running) {
 *         update();
 *         qz_publish("game"); // once a frame, for "qz log follow game" and "qz top game"
 *     }
 *     qz_publish_stop();
 *
 * The log's messages, the watches, the times of globalProfiler's frames, and how much work the task
 * manager has are published in named shared memory. Other programs read them without a lock, so
 * that a reader cannot delay a frame, even if it stops or is killed. Each process has its own
 * memory: the number of the process distinguishes programs of the same name. The memory is freed
 * when the process ends; on Linux, when its forked children that have not called exec have ended,
 * too. What a killed process leaves on Linux stays until a process of the same user opens its first
 * shared memory or runs "qz log list". docs/formats/shared-memory.md describes the bytes.
 *
 * For C and C++. Frame times are published while globalProfiler (C++) runs.
 */
#ifndef QZCORE_UTIL_PUBLISH_H
#define QZCORE_UTIL_PUBLISH_H

#include "Core/Export.h"

QZ_EXTERN_C_BEGIN

/* The mode in which qz_publish reads watches. If reading changes a value, for example because a
 * count begins again, the callback must not change it in this mode; those of the library do not. */
enum { QZ_PUBLISH_WATCH_MODE = 0x5150 };

/* Publishes what is new since the last call. Call it once a frame, after globalProfiler.endFrame(),
 * so that the frame's time is included. It takes about a microsecond, and the time of the watch
 * that is read. If it is called before qz_log_start, others can also follow the start-up.
 *
 * name: the name by which others watch the program: 1 to 48 letters, digits, ".", "-" and "_". The
 *   first call makes the memory, 256 KiB. A call with another name frees it and makes a new one.
 *
 * The first call attaches the log, with the messages that wait for the log's files. From then on
 * the log's writer thread publishes each message as it writes it, even if qz_publish is not called:
 * the last lines of a program that hangs or has crashed can be seen, and lines do not cost the
 * frame any time. Other processes see the newest 500 messages or more. This takes one of the eight
 * places of readers (qz_log_reader). If no place is free, or there is no memory, one WARNING is
 * logged, all else is published, and each reading of the watches tries again.
 *
 * Watches are read on the calling thread: all in the first call, later one in a call, and each at
 * most every 250 ms. While another thread reads or changes the watches, they are left to later
 * calls. Names are cut at 31 bytes, values at 95, but not within a character. Exceptions of
 * callbacks reach the caller.
 *
 * Returns 1; 0 if nothing is published: the name is not valid, the system gives no memory, or a
 * program of the same name and process number runs in another container that shares /dev/shm. Then
 * one ERROR line is logged, and calls with the same name do nothing until qz_publish_stop.
 *
 * Threads: any. A call during another call, for example from a watch, does nothing and returns 1. A
 * forked child publishes as a program of its own, without a log, and without watches or frames if
 * it was forked while another thread had them; if it was forked during a call, its calls publish
 * nothing and return 0. */
QZ_API int qz_publish(const char* name);

/* Frees the memory after the last messages. Waits for the log's writer thread to publish them, 200
 * ms at most, and for a call of qz_publish to end. Does nothing if nothing is published. It may be
 * called before or after qz_log_stop. Unloading the library calls it, and on Linux the end of the
 * process does; on Windows the end of the process publishes nothing, because the other threads are
 * killed first. Any thread may call it; in a watch that qz_publish reads it does nothing. */
QZ_API void qz_publish_stop(void);

QZ_EXTERN_C_END

#endif

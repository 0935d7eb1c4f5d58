/* A running program that can be watched.
 *
 *     while (running) {
 *         update();
 *         qz_publish("game"); // once a frame, for "qz log follow game" and "qz top game"
 *     }
 *     qz_publish_stop();
 *
 * What is published stands in named shared memory: the log's messages, the watches, the times of
 * globalProfiler's frames, and how much the task manager has to do. Others look at it without a
 * lock: nobody who looks, stands still or is killed while looking can hold a frame up. The memory
 * belongs to this process: programs of the same name have one each, told apart by the process's
 * number. It is gone with the process, on Linux with the last child, too, that was forked and has
 * called no exec; what a killed one leaves there stays until a process of the same user opens its
 * first shared memory or runs "qz log list". docs/formats/shared-memory.md has its bytes.
 *
 * C and C++; frame times are there while globalProfiler (C++) runs.
 */
#ifndef QZCORE_UTIL_PUBLISH_H
#define QZCORE_UTIL_PUBLISH_H

#include "Core/Export.h"

QZ_EXTERN_C_BEGIN

/* The mode with which watches are asked for what is published. A callback whose value changes by
 * being read, a count that begins anew for example, leaves it as it is in this mode; the library's
 * own do. */
enum { QZ_PUBLISH_WATCH_MODE = 0x5150 };

/* Publishes what has come since the last call. Call it once a frame, behind
 * globalProfiler.endFrame(), so that the frame's time is among it: it takes about a microsecond,
 * and what the watch takes that is just read. It may be called before qz_log_start as well: who
 * follows sees the start-up too, then.
 *
 * name: what the program is called by those who watch it: 1 to 48 letters, digits, ".", "-" and
 *   "_". The first call makes the memory, 256 KiB; so does one with another name, after it has let
 *   go of the old.
 *
 * The first call attaches the log, beginning with what waits for the log's files. From then on the
 * log's writer thread publishes each message as it writes it, whether qz_publish is called or not:
 * a program that hangs, or has crashed, shows its last lines, and lines cost the frame nothing.
 * Other processes see the newest 500 messages or more. This takes one of the eight places of
 * readers (qz_log_reader): with none free, or no memory, the log has one WARNING, all else is
 * published, and each look at the watches tries again.
 *
 * Watches are read on the calling thread, each at most every 250 ms, and one in a call; all of them
 * in the first. A name is published up to 31 bytes, a value up to 95. What a callback throws
 * reaches the caller.
 *
 * Returns 1; 0 if nothing is published: the name is none, the system gives no memory, or another
 * program lives under the name and the process's number, in another container that shares
 * /dev/shm. The log then has one ERROR line, and calls with the same name do nothing until
 * qz_publish_stop.
 *
 * Threads: any. A call during another one, from a watch for example, does nothing and returns 1. In
 * a child that was forked, calls publish a program of its own, without a log; in one that was
 * forked during a call, they return 0 and publish nothing. */
QZ_API int qz_publish(const char* name);

/* Lets go of the memory, behind the last messages. Waits for the log's writer thread to publish
 * them, 200 ms at most, and for a call of qz_publish to end. Does nothing if
 * nothing is published. Call it before or after qz_log_stop. The unloading of the library does it
 * as well, and on Linux the end of the process; on Windows, where the other threads are killed
 * first, the end of the process publishes nothing. Any thread may call it, but no watch. */
QZ_API void qz_publish_stop(void);

QZ_EXTERN_C_END

#endif

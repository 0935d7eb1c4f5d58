/* Crash reports: what the process died of, and where.
 *
 * When the process dies of a fault that nobody handles (a bad pointer, a division by zero, a stack
 * that overflows, abort() and the like), a text file is left with the fault, the module and one
 * line for each stack frame, innermost first, with symbol and source line where debugging
 * information can be read. After that the handler that was there before runs, or what the system
 * does by itself: a core dump, a dialogue. bt_retrace reads such reports later, when symbols may be
 * at hand that were not, and writes an annotated copy beside each. docs/formats/crash-report.md has
 * the format.
 *
 * What counts as a fault: on Windows what reaches the unhandled-exception filter, and abort() of
 * the C runtime that the library uses; on Linux SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS
 * and SIGABRT, under the names that the other system has for them.
 *
 * An exception that nobody catches ends in abort(); before that its what() is logged as an ERROR,
 * and the terminate handler that was there before bt_init runs. The what() is also the report's
 * last line. On Windows that takes a program that uses the same C++ runtime library.
 *
 * Before the handler passes on, the log's writer thread gets up to a second to write what is
 * queued. A process writes 16 reports at most: the handler that was there before may return to the
 * fault, which then happens again. A report that takes longer than 25 seconds is cut off on Linux:
 * a lock of the system's may never come free. There fork() waits while another thread's report is
 * being written: the child would inherit its locks and not the thread. It waits 30 seconds at
 * most; after that no fork waits for the same report again. vfork, posix_spawn and _Fork do not
 * wait. From bt_init to bt_fini, Linux only, six file descriptors are held back for a crash after
 * all others have been used up.
 */
#ifndef QZCORE_CORE_CRASHREPORT_H
#define QZCORE_CORE_CRASHREPORT_H

#include "Core/Export.h"

QZ_EXTERN_C_BEGIN

struct _EXCEPTION_POINTERS;

/* What windows.h calls LPTOP_LEVEL_EXCEPTION_FILTER. On Linux it is the handler that SIGSEGV had,
 * to be compared and not to be called; null where that was the default. */
typedef long (*bt_filter)(struct _EXCEPTION_POINTERS* exception);

/* Installs the crash handler and returns the filter that it replaces, which runs after it. On Linux
 * that is each signal's handler, as the system would have called it: with the signals blocked that
 * it asked for, and once only if it was installed with SA_RESETHAND.
 *
 * Reports are named "<prefix>-<date>-<time>.crash", with the time of the crash in UTC, as in
 * game-20260101-120000.crash. The prefix (UTF-8, cut at 259 bytes) may begin with a path, with
 * either separator; else the file goes to the current directory, the one at the time of the crash.
 * On Windows a report's path, prefix and all, has 255 characters at most. Null stands for the
 * executable's file name without its directory and without the part from its last point on.
 *
 * The folder has to exist: if it does not, one ERROR is logged at once, and a crash leaves no
 * report. On Windows a ":" in a report's name makes it an alternate stream, which no listing shows;
 * one ERROR is logged at once for such a prefix, too. A report that was written is announced by its
 * path, as an ERROR in the log, which shows on standard error too.
 *
 * Call it early, from the main thread. A second call only changes the prefix and returns null. The
 * library stays loaded from then on. Not for use by two threads at once.
 *
 * A thread whose stack overflows needs room elsewhere to report that. The thread that calls bt_init
 * has it then, and so have all threads that the library's functions start and those that run tasks.
 * Other threads get it from QZ_thread_adopt (Core/Threads.h), or on Linux from sigaltstack, of any
 * size that the system accepts; without it they die of an overflow and leave no report. */
QZ_API bt_filter bt_init(const char* prefix);

/* Takes the handler away and puts back the one that was there before bt_init. Does nothing when
 * none is installed. */
QZ_API void bt_fini(void);

/* Writes an annotated copy, "<report>.info", beside each report that has none yet: every file whose
 * path is `directory` (UTF-8, with either separator) followed by any text that ends in ".crash".
 * Without a separator at its end, what follows the last one is how names begin; if that names a
 * folder, the reports in the folder are taken as well.
 *
 * In the copy each frame is looked up anew. A frame counts as known by the section, offset and
 * module path that its line carries, in the file of that name, which is read and never run; a line
 * without them is found by its address if the rest of the report tells which module lay there.
 * Where that fails, because the file is gone, is younger than the crash, or contradicts the line,
 * the line keeps its text and says so. It never names a symbol that may be the wrong one.
 *
 * Returns the number of copies written; 0 if there is nothing to do; -1 if the system's debugging
 * help cannot be used, or memory runs out. Reports that cannot be read, or are larger than 64 MiB,
 * are skipped, and so are copies that cannot be written. Nothing is written for a report whose
 * modules cannot be read for want of memory or descriptors (the latter: Linux); a later call takes
 * it up again. Any thread; one call at a time does its work. */
QZ_API int bt_retrace(const char* directory);

QZ_EXTERN_C_END

#endif

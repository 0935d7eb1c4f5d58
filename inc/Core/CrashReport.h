/* Crash reports: why a process died, and where.
 *
 * When the process dies of a fault that nobody handles (a bad pointer, a division by zero, a stack
 * overflow, abort() and the like), the crash handler writes a text file. The file has the fault,
 * the module and one line for each stack frame, innermost first, with symbol and source line where
 * debugging information can be read. Then the handler that was installed before runs, or the
 * system's default: a core dump, a dialogue. bt_retrace reads such reports later, when more symbols
 * may be at hand, and writes an annotated copy beside each. docs/formats/crash-report.md has the
 * format.
 *
 * On Windows faults are exceptions that reach the unhandled-exception filter, and abort() of the C
 * runtime that the library uses. On Linux they are the signals SIGSEGV, SIGBUS, SIGFPE, SIGILL,
 * SIGTRAP, SIGSYS and SIGABRT, which reports call by the Windows names.
 *
 * An exception that nobody catches ends in abort(). Before that its what(), or the name of a type
 * that has none, is logged as an ERROR, and the terminate handler that was installed before bt_init
 * runs. The same text is the report's last line. On Windows this works only in programs that use
 * the same C++ runtime library.
 *
 * After the report the log's writer thread has up to a second to write what is queued; then the
 * earlier handler runs. That handler may return to the fault, which then happens again, so a
 * process writes 16 reports at most. Processes of one prefix that crash in the same second write to
 * one file, each after the other; one that has waited for five seconds leaves no report.
 *
 * Linux only: a report that takes longer than 25 seconds is cut off, because a lock of the system
 * may never be released. fork() waits while another thread writes a report, because the child would
 * inherit the thread's locks without the thread. It waits 30 seconds at most; after that no fork
 * waits for the same report. vfork, posix_spawn and _Fork do not wait. From bt_init to bt_fini six
 * file descriptors are reserved for a crash in which no other is free. A signal that somebody sends
 * and that was ignored before bt_init leaves no report.
 */
#ifndef QZCORE_CORE_CRASHREPORT_H
#define QZCORE_CORE_CRASHREPORT_H

#include "Core/Export.h"

QZ_EXTERN_C_BEGIN

struct _EXCEPTION_POINTERS;

/* On Windows the type LPTOP_LEVEL_EXCEPTION_FILTER. On Linux the handler that SIGSEGV had, only to
 * be compared, never to be called; null if that was the default. */
typedef long (*bt_filter)(struct _EXCEPTION_POINTERS* exception);

/* Installs the crash handler and returns the filter that it replaces, which runs after it. On Linux
 * it replaces the handler of each signal, and calls it as the system would: with the signals
 * blocked that it asked for, and only once if it was installed with SA_RESETHAND.
 *
 * Reports are named "<prefix>-<date>-<time>.crash", with the time of the crash in UTC, as in
 * game-20260101-120000.crash. The prefix (UTF-8, cut at 259 bytes) may begin with a path, with
 * either separator; without one, reports go to the directory that is current at the time of the
 * crash. On Windows the whole path of a report has 255 characters at most. A null prefix means the
 * executable's file name without its directory and its extension.
 *
 * The folder has to exist: if it does not, bt_init logs one ERROR, and a crash leaves no report. On
 * Windows a ":" in a report's name makes it an alternate stream, which no listing shows; bt_init
 * logs one ERROR for such a prefix, too. A crash logs the report's path as an ERROR, which standard
 * error shows, too. The line also says why there is no report, or why it is cut off or empty, as by
 * a full disk.
 *
 * Call it early, from the main thread. A second call only changes the prefix and returns null. The
 * library stays loaded from the first call on. Two threads must not call it at once.
 *
 * A thread whose stack overflows needs room elsewhere to report that. The thread that calls bt_init
 * has such room, and so have all threads that the library's functions start and those that run
 * tasks. Other threads get it from QZ_thread_adopt (Core/Threads.h), or on Linux from sigaltstack,
 * of any size that the system accepts. A thread without it leaves no report when its stack
 * overflows. */
QZ_API bt_filter bt_init(const char* prefix);

/* Removes the handler and restores the one that was installed before bt_init, even if another one
 * was installed since. Does nothing after bt_fini or without bt_init. */
QZ_API void bt_fini(void);

/* Writes an annotated copy, "<report>.info", beside each report that has none yet. Reports are all
 * files whose path is `directory` (UTF-8, with either separator) followed by any text that ends in
 * ".crash". If `directory` does not end in a separator, its last part is the beginning of file
 * names; if that part is also the name of a folder, the reports in the folder are taken as well.
 *
 * In the copy each frame is looked up anew, by the section, offset and module path in its line, in
 * the module's file, which is read and never run. A line without these is looked up by its address
 * if the rest of the report tells which module was loaded there. If the file is gone, is younger
 * than the crash, or contradicts the line, the line keeps its text and says so. The copy never
 * names a symbol that may be the wrong one. It is written even if nothing was found; delete it to
 * have the report looked up again.
 *
 * Returns the number of copies written; 0 if there is nothing to do; -1 if the system's debugging
 * library cannot be used, or memory runs out. Reports that cannot be read, are being written, or
 * are larger than 64 MiB, are skipped, and so are copies that cannot be written. If a report's
 * modules cannot be read because memory or, on Linux, descriptors ran out, no copy is written, and
 * a later call tries again. Any thread may call it; calls run one at a time. */
QZ_API int bt_retrace(const char* directory);

QZ_EXTERN_C_END

#endif

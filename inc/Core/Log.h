/* The log.
 *
 * Every part of an engine reports through qz_log. A call copies the message into a record of a
 * fixed pool and queues it without a lock; one writer thread writes the records to the log files.
 * The calling thread itself echoes the line to the debugger and to standard error, and shows a
 * message box for alerts.
 *
 * Life cycle: loading the library makes the pool and the queue; qz_log_start opens the first file
 * and starts the writer thread; qz_log_stop ends the thread. Messages logged before qz_log_start
 * wait in the queue. A stopped log cannot be started again until the library is loaded again.
 *
 * Limits: there are 1024 records. A message is lost if no record is free. The files then have the
 * line "%d messages lost" before the next message that is queued, or at their end. The same line
 * stands where a file continues after writing failed, for example because the disk was full; it
 * does not depend on the file's module and levels. A line that was written in part is removed or,
 * in a pipe, ended. Texts are UTF-8, and are cut behind a whole character: module names at 63
 * bytes, messages at 383. A null text reads "<NULL>".
 *
 * A message equal to the previous one is not written. "%d duplicate message(s) skipped." is written
 * before the next different one. Only the texts are compared, not modules or levels.
 *
 * A line reads "%09.3f %s %s: %s\n": seconds since the library was loaded, the level padded to
 * seven characters, the module, the message. A message that ends in a line break does not get a
 * second one. TRACE lines: "%s: %s\n", module and message. Files on Windows have CR LF for "\n".
 *
 * Threads: any thread may call qz_log, qz_vlogf and qz_log_set_output at any time; they never wait
 * for the log files or for a lock and allocate nothing. Only the echo may wait: for standard error,
 * without limit if that is a full pipe, and for the user to close an alert. A pipe that nobody
 * reads any more does not end the process. Each reader (qz_log_reader) is for one thread at a time.
 * The other functions are for one thread at a time, normally the host's main thread. Signal
 * handlers must not call any of them. A child that was forked while the writer thread ran has no
 * such thread: its messages are only echoed, and qz_log_stop and qz_log_exit leave the files to
 * the parent.
 */
#ifndef QZCORE_CORE_LOG_H
#define QZCORE_CORE_LOG_H

#include "Core/Export.h"

#include <stdarg.h>
#include <stdint.h>

/* Levels are bit flags: an output's mask is the sum of the levels it takes. Any other level prints
 * as "UNKNOWN". */
enum {
    QZ_LOG_ALERT = 0x02, /* shown to the user in a message box as well */
    QZ_LOG_ERROR = 0x08,
    QZ_LOG_WARNING = 0x10,
    QZ_LOG_INFO = 0x40,
    QZ_LOG_DEBUG = 0x80,
    QZ_LOG_TRACE = 0x100, /* only for files whose mask has it; no time, no echo */
    QZ_LOG_ALL = 0xFF     /* as a mask: all levels but TRACE */
};

/* The same levels by their short names. A name that is already a macro is left alone: windows.h
 * defines ERROR as 0, and builds define DEBUG. Code with such macros uses the long names. Define
 * QZ_LOG_NO_SHORT_NAMES before including this header to have the long names only. */
#ifndef QZ_LOG_NO_SHORT_NAMES
#    ifdef __cpp_inline_variables
#        define QZ_LOG_SHORT_NAME(name) inline constexpr unsigned int name = QZ_LOG_##name;
#    elif defined(__cplusplus)
#        define QZ_LOG_SHORT_NAME(name) constexpr unsigned int name = QZ_LOG_##name;
#    else
#        define QZ_LOG_SHORT_NAME(name) enum { name = QZ_LOG_##name };
#    endif
#    ifndef ALERT
QZ_LOG_SHORT_NAME(ALERT)
#    endif
#    ifndef ERROR
QZ_LOG_SHORT_NAME(ERROR)
#    endif
#    ifndef WARNING
QZ_LOG_SHORT_NAME(WARNING)
#    endif
#    ifndef INFO
QZ_LOG_SHORT_NAME(INFO)
#    endif
#    ifndef DEBUG
QZ_LOG_SHORT_NAME(DEBUG)
#    endif
#    ifndef TRACE
QZ_LOG_SHORT_NAME(TRACE)
#    endif
#    ifndef ALL
QZ_LOG_SHORT_NAME(ALL)
#    endif
#    undef QZ_LOG_SHORT_NAME
#endif

/* Selects the levels that are echoed. The program writes it once in the executable, at file scope:
 *
 *     QZ_LOG_ECHO_LEVELS(QZ_LOG_ALERT | QZ_LOG_ERROR);
 *
 * It holds from the load of the library on, so a command-line tool need not show the lines that the
 * library logs then. On Linux a program that loads the library with dlopen must export its symbols
 * for it (link with -rdynamic). The default is all levels but TRACE, which is never echoed. The
 * environment variable QZ_LOG_ECHO overrides it for one run, as in QZ_LOG_ECHO=alert,error;
 * qz_log_parse_levels reads it. A value that cannot be read is ignored with one WARNING. Log files
 * and message boxes are not affected. */
#define QZ_LOG_ECHO_LEVELS(levels)                                 \
    QZ_EXTERN_C QZ_PROGRAM_EXPORT unsigned int qz_log_echo_levels; \
    unsigned int qz_log_echo_levels = (levels)

QZ_EXTERN_C_BEGIN

/* Logs one message.
 *
 * The text is logged as it is; a "%" in it means nothing. If the level is one that is echoed, the
 * line goes to the debugger and to standard error before the call returns: to a console as
 * characters, to a file or pipe as UTF-8 bytes. On Linux nothing is echoed if standard error was
 * closed when the library was loaded, or leads to the null device; loading checks for that device,
 * and qz_log_start checks again. So a daemon leads standard error there and does not close it: the
 * next file that it opens could get the number, and the lines. ALERT shows a message box and
 * returns when the user has closed it; without a display, and on Linux, there is no box.
 *
 * When no record is free the message is lost: it is neither echoed nor shown in a box. errno does
 * not change. A thread that is cancelled (pthread_cancel) does not end in the call, unless it has
 * chosen to be cancelled at any moment (PTHREAD_CANCEL_ASYNCHRONOUS). */
QZ_API void qz_log(const char* module, unsigned int level, const char* message);

/* Formats as vprintf does, in the process's locale, into at most 1023 bytes, and logs the result.
 */
QZ_API void qz_vlogf(const char* module, unsigned int level, const char* format, va_list arguments)
    QZ_PRINTF_LIKE(3, 0);

/* The same with the values as arguments, as printf takes them. */
QZ_INLINE void qz_logf(const char* module, unsigned int level, const char* format, ...)
    QZ_PRINTF_LIKE(3, 4);
QZ_INLINE void qz_logf(const char* module, unsigned int level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    qz_vlogf(module, level, format, arguments);
    va_end(arguments);
}

/* A level, for menus, settings and colours. */
typedef struct qz_log_level {
    unsigned int flag;
    const char* name;   /* in capitals, as in lines */
    const char* colour; /* for terminals: what stands between "ESC [" and "m", such as "1;31" */
} qz_log_level;

/* Returns all levels, the gravest first and TRACE last. An entry whose name is null ends the array,
 * which belongs to the library. */
QZ_API const qz_log_level* qz_log_levels(void);

/* Returns the name of a level; "UNKNOWN" if there is no such level. */
QZ_API const char* qz_log_level_name(unsigned int level);

/* Reads a mask from a text such as "alert, error": names of levels in any case, "all" for the mask
 * ALL, "none" for 0, with blanks, commas or "|" between them. Returns 1; 0, with *levels unchanged,
 * if the text has another word, or is empty or null. With a null `levels` it only checks the text.
 */
QZ_API int qz_log_parse_levels(const char* text, unsigned int* levels);

/* Starts the writer thread.
 *
 * directory: where all log files go, with either separator; it is copied. A text of more than 255
 *   bytes is cut, which an ERROR says. The directory must exist. An empty text means the root, null
 *   the current directory.
 * name: the first output, opened at once as "<directory>/<name>.log" for every module with the mask
 *   ALL; null opens none. An existing file of that name is first renamed to "<name>.log.old",
 *   replacing an older one; if that is not possible, it is overwritten. If the output cannot be
 *   opened, for example because there is no such directory, the log runs without it, and an ERROR
 *   line is echoed.
 *
 * Returns 0; -1 if the thread is running or has ended before, or after qz_log_exit; the error
 * number if it cannot be started, after an ALERT "can't start log thread". What was logged before
 * is written then, and the log has ended as after qz_log_stop. */
QZ_API int qz_log_start(const char* directory, const char* name);

/* Ends the writer thread when it has written what is queued, and closes the outputs and the hook.
 * Waits for the disk if necessary. Does nothing if the thread is not running. Messages logged later
 * are lost and are not echoed. */
QZ_API void qz_log_stop(void);

/* Closes the log for good; unloading the library calls it. Afterwards qz_log only echoes. */
QZ_API void qz_log_exit(void);

/* Asks the writer thread to open, change or close an output.
 *
 * name: identifies the output; its file's name without ".log"; cut at 63 bytes. It is not checked:
 * a name with separators leads to another directory. On Windows the name may not have a ":" and may
 * not be that of a device such as NUL. module_filter: the output takes only messages of this module
 * (exact, case-sensitive, cut at 63 bytes); null or empty takes those of all. mask: the sum of the
 * levels it takes; 0 closes the output. If an output cannot be opened, or there is no memory, it is
 * missing without a message.
 *
 * The request is queued and takes effect after the messages logged before it. When no record is
 * free it is dropped, and counted as a lost message. */
QZ_API void qz_log_set_output(const char* name, const char* module_filter, unsigned int mask);

/* What a hook or a reader reads: a message as it was written to the files. */
typedef struct qz_log_entry {
    double time; /* seconds, QZ_get_time */
    const char* module;
    const char* message;
    uint32_t level;
    uint32_t lost; /* messages lost just before this one, by the log or by this consumer */
} qz_log_entry;

/* A hook lets one consumer, for example a console inside the application, read the messages that
 * the writer thread has handled. At most 512 messages wait for it; further ones are counted in
 * `lost`. One thread at a time uses the three functions.
 *
 * qz_log_hook_start returns 0, or -1 if the writer thread is not running or a hook is active. */
QZ_API int qz_log_hook_start(void);

/* Returns the oldest waiting message, or null if there is none or no hook is active. The entry
 * belongs to the log and stays valid until the next read or qz_log_hook_stop. */
QZ_API const qz_log_entry* qz_log_hook_read(void);

/* Ends the hook and drops the messages that were not read. The next message that the writer thread
 * handles goes to no hook and is not counted, even if a hook was started before it. */
QZ_API void qz_log_hook_stop(void);

/* A reader is a consumer beside the hook and other readers. Each reads all messages that the writer
 * thread handles while the reader is open, duplicates included. The writer thread copies them into
 * the reader's own queue of 512, which takes 240 KB; further ones are counted in the `lost` of the
 * next entry. So a slow reader does not affect the log, the hook or other readers. At most 8
 * readers are open at a time; qz_publish takes one of them.
 *
 * Any thread may open a reader while others log and read. One thread at a time uses it. A reader
 * stays open after qz_log_stop: all messages logged before can still be read, and then null is
 * returned. Unloading the library closes all readers. */
typedef struct qz_log_reader qz_log_reader;

/* Opens a reader. It also reads messages that wait for the writer thread, so it may be opened
 * before qz_log_start. Returns null if 8 are open, if there is no memory, after qz_log_stop, and in
 * a child that was forked while the writer thread ran. */
QZ_API qz_log_reader* qz_log_reader_open(void);

/* Returns the oldest waiting message, or null if there is none or the reader is null; never waits.
 * The entry belongs to the reader and stays valid until the next read or qz_log_reader_close. */
QZ_API const qz_log_entry* qz_log_reader_read(qz_log_reader* reader);

/* Closes the reader; nobody may be using it. Null is ignored. */
QZ_API void qz_log_reader_close(qz_log_reader* reader);

QZ_EXTERN_C_END

#endif

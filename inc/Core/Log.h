/* Logging.
 *
 * Every part of an engine reports through qz_log. A call copies the message into a record of a
 * fixed pool, queues it without a lock and returns; one writer thread puts the records into the log
 * files. The calling thread itself echoes the line to the debugger and to standard error, and shows
 * a message box for alerts.
 *
 * Life cycle: loading the library makes the pool and the queue; qz_log_start opens the first file
 * and starts the writer thread; qz_log_stop ends it. Messages logged before qz_log_start wait in
 * the queue. A stopped log stays silent and is not started again within one load of the library.
 *
 * Limits: 1024 records. A message that finds none free is counted, not waited for: the next message
 * that gets through is preceded in the files by "%d messages lost", and if none does, the files end
 * with that. The same line begins what a file takes again after it refused messages because its
 * disk was full, for instance; it stands there whatever module and levels the file is for. A line
 * that was written in part is taken back or, in a pipe, ended. Texts are UTF-8 and are cut,
 * not refused: module names at 63 bytes, messages at 383 bytes. A null text reads "<NULL>".
 *
 * A message equal to the one before it is not written again; when a different one arrives,
 * "%d duplicate message(s) skipped." is written first. Only the texts are compared, not modules or
 * levels.
 *
 * A line reads "%09.3f %s %s: %s\n": seconds since the library was loaded, the level padded to
 * seven characters, the module, the message. A message that ends in a line break does not get a
 * second one. TRACE lines are short, "%s: %s\n" with module and message only.
 *
 * Threads: any thread may call qz_log, qz_vlogf and qz_log_set_output at any time; they never wait
 * for the log files or for a lock and allocate nothing. The echo is apart from that: it waits for
 * whoever takes standard error, without limit if that is a pipe that is full, and an alert for the
 * user. Nobody reading the pipe any more ends no process. Each reader (qz_log_reader) is for one
 * thread at a time, whatever the others do. The other functions are for one thread at a time,
 * normally the host's main thread. None is for signal handlers. In a child that was forked while
 * the writer thread ran, which has none, messages are echoed at best, and qz_log_stop and
 * qz_log_exit leave the files to the parent.
 */
#ifndef QZCORE_CORE_LOG_H
#define QZCORE_CORE_LOG_H

#include "Core/Export.h"

#include <stdarg.h>
#include <stdint.h>

/* Levels are bit flags, so that an output's mask is the sum of the levels it accepts. Any other
 * value prints as "UNKNOWN". */
enum {
    QZ_LOG_ALERT = 0x02, /* shown to the user in a message box as well */
    QZ_LOG_ERROR = 0x08,
    QZ_LOG_WARNING = 0x10,
    QZ_LOG_INFO = 0x40,
    QZ_LOG_DEBUG = 0x80,
    QZ_LOG_TRACE = 0x100, /* files whose mask names it only; no time, no echo */
    QZ_LOG_ALL = 0xFF     /* mask: the five ordinary levels; TRACE is asked for by name */
};

/* The same levels by their short names. A name that is already a macro is left alone: windows.h
 * defines ERROR as 0, builds define DEBUG; code that lives with such macros uses the long names.
 * Define QZ_LOG_NO_SHORT_NAMES before including this header to have the long names alone. */
#ifndef QZ_LOG_NO_SHORT_NAMES
#    ifdef __cplusplus
#        define QZ_LOG_SHORT_NAME(name) inline constexpr unsigned int name = QZ_LOG_##name;
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

/* Which levels the program wants echoed, said once in the executable, at file scope:
 *
 *     QZ_LOG_ECHO_LEVELS(QZ_LOG_ALERT | QZ_LOG_ERROR);
 *
 * It counts from the load of the library on: a command-line tool has no use for the lines that the
 * library logs then. Without it all levels but TRACE are echoed, which never is. Whoever starts the
 * program decides over it with the environment variable QZ_LOG_ECHO, which qz_log_parse_levels
 * reads, as in QZ_LOG_ECHO=alert,error. Log files and message boxes do not ask. */
#define QZ_LOG_ECHO_LEVELS(levels)                                 \
    QZ_EXTERN_C QZ_PROGRAM_EXPORT unsigned int qz_log_echo_levels; \
    unsigned int qz_log_echo_levels = (levels)

QZ_EXTERN_C_BEGIN

/* Logs one message.
 *
 * The text is taken as it stands; a "%" in it means nothing. Unless the level is TRACE, or one that
 * the program does not want to see, the line goes to the debugger and to standard error before the
 * call returns: to a console as characters, to a file or pipe as UTF-8 bytes. On Linux nothing is
 * echoed when standard error was closed at load, or was the null device at load and at
 * qz_log_start, which looks again. ALERT shows a message box and returns when it is closed; without
 * a display, and on Linux, the line on standard error is all there is.
 *
 * When no record is free the message is counted as lost and not echoed either. */
QZ_API void qz_log(const char* module, unsigned int level, const char* message);

/* Formats as vprintf does, in the process's locale, into at most 1023 bytes, and logs the result.
 */
QZ_API void qz_vlogf(const char* module, unsigned int level, const char* format, va_list arguments)
    QZ_PRINTF_LIKE(3, 0);

/* The same with the values themselves, as printf does it. */
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
    const char* name;   /* in capitals, as lines have it */
    const char* colour; /* for terminals: what stands between "ESC [" and "m", such as "1;31" */
} qz_log_level;

/* All levels, TRACE included and the gravest first. One whose name is null ends them. */
QZ_API const qz_log_level* qz_log_levels(void);

/* The name of one level; "UNKNOWN" if there is none of that value. */
QZ_API const char* qz_log_level_name(unsigned int level);

/* Adds up levels that a text names, such as "alert, error": their names in capitals or not, "all"
 * for the mask ALL, "none" for nothing, with blanks, commas or "|" between them. Returns 1; 0, with
 * *levels as it was, if the text names something else, or is empty or null. With a null `levels` it
 * only tells whether the text can be read. */
QZ_API int qz_log_parse_levels(const char* text, unsigned int* levels);

/* Starts the writer thread.
 *
 * directory: where all log files go, at most 255 bytes; kept as a copy. It is not created. An empty
 *   text means the root, null the current directory.
 * name: the first output, opened at once as "<directory>/<name>.log" for every module with the mask
 *   ALL; null opens none. A file of that name that exists is renamed to "<name>.log.old" first,
 *   over an older one. If it cannot be opened, because there is no such directory for instance, the
 *   log runs without it, and an ERROR line of the echo says so.
 *
 * Returns 0; -1 if the thread is running or has ended before; the error number if it cannot be
 * started, after an ALERT "can't start log thread". */
QZ_API int qz_log_start(const char* directory, const char* name);

/* Ends the writer thread when it has written what is queued, and closes the outputs. Waits for the
 * disk if it has to. Ends the hook as well. Does nothing if the thread is not running. From then on
 * messages are counted as lost and appear nowhere. */
QZ_API void qz_log_stop(void);

/* Closes the facility for good; unloading the library does it. Afterwards qz_log only echoes. */
QZ_API void qz_log_exit(void);

/* Asks the writer thread to open, change or close an output.
 *
 * name: the key of the output and its file's name without ".log"; cut at 63 bytes. It is trusted:
 * with separators in it the file lies elsewhere. On Windows the name may have no ":" and may not be
 * that of a device such as NUL. module_filter: the output takes this module's messages only (exact,
 * case-sensitive, cut at 63 bytes); null or empty takes every module's. mask: the sum of the levels
 * it takes; 0 closes the output. An output that cannot be opened, for want of memory too, is
 * silently absent.
 *
 * The request queues behind the messages logged before it and takes effect in that order. It is
 * dropped, and counted as a lost message, when no record is free. */
QZ_API void qz_log_set_output(const char* name, const char* module_filter, unsigned int mask);

/* What a hook or a reader reads: a message as it went to the files. */
typedef struct qz_log_entry {
    double time; /* seconds, QZ_get_time */
    const char* module;
    const char* message;
    uint32_t level;
    uint32_t lost; /* messages lost just before this one, to the files or to who reads */
} qz_log_entry;

/* A hook lets one consumer, for example a console inside the application, read the messages that
 * the writer thread has handled. At most 512 wait for it; what comes on top is counted in `lost`.
 * One thread at a time uses the three functions.
 *
 * qz_log_hook_start returns 0, or -1 if the writer thread is not running or a hook is active. */
QZ_API int qz_log_hook_start(void);

/* Returns the oldest waiting message, or null if there is none or no hook is active. The entry
 * belongs to the log and stays valid until the next read or qz_log_hook_stop. */
QZ_API const qz_log_entry* qz_log_hook_read(void);

/* Ends the hook and gives back what it has not read. */
QZ_API void qz_log_hook_stop(void);

/* A reader is a consumer beside the hook and beside other readers: each reads all messages that
 * the writer thread handles while it is open, duplicates included. The writer thread copies them
 * into the reader's own queue of 512, which takes 240 KB; what comes on top is counted in the
 * `lost` of the next entry. So a reader that lags behind takes nothing from the log, from the hook
 * or from other readers. At most 8 are open at a time; qz_publish takes one of them.
 *
 * Any thread may open a reader while others log and read. One thread at a time uses it then, until
 * it is closed. A reader outlives qz_log_stop: what was logged until then can still be read, to the
 * last message, and reading ends with a null. Unloading the library closes all readers. */
typedef struct qz_log_reader qz_log_reader;

/* Opens a reader, before qz_log_start as well: the messages that wait for the writer thread come to
 * it, too. Returns null if 8 are open, if there is no memory, or if nothing is to come: after
 * qz_log_stop, and in a child that was forked while the writer thread ran. */
QZ_API qz_log_reader* qz_log_reader_open(void);

/* Returns the oldest waiting message, or null if there is none; never waits. The entry belongs to
 * the reader and stays valid until its next read or its end. A null reader reads nothing. */
QZ_API const qz_log_entry* qz_log_reader_read(qz_log_reader* reader);

/* Closes the reader, which nobody uses any more. Null is nothing to close. */
QZ_API void qz_log_reader_close(qz_log_reader* reader);

QZ_EXTERN_C_END

#endif

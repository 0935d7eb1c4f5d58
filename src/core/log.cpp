#include "core/log.h"

#include "Core/Clock.h"
#include "Core/Threads.h"
#include "core/log_line.h"
#include "core/log_record.h"
#include "core/log_writer.h"
#include "platform/console.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <new>
#include <utility>

namespace {

using core::LogRecord;

constexpr unsigned int kPopupMask = QZ_LOG_ALERT;
constexpr char kNullText[] = "<NULL>";

// Trivial to make and never destroyed: other static objects log before and after their turn, and
// threads may still be in a call when the process ends.
core::LogRecordPool pool;
constinit core::LogDuplicates duplicates;
alignas(core::LogWriter) unsigned char writerStorage[sizeof(core::LogWriter)];

constinit std::atomic<bool> initialised{false};
constinit std::atomic<bool> running{false};
alignas(64) constinit std::atomic<std::uint32_t> lostMessages{0};

QZ_thread* writerThread = nullptr;
platform::Semaphore writerThreadEnded;

// Made by qz_log_init.
core::LogWriter& writer() {
    return *std::launder(reinterpret_cast<core::LogWriter*>(writerStorage));
}

void* runWriterThread(void*) {
    writer().run(running);
    writerThreadEnded.signal();
    return nullptr;
}

// The exchange is dearer than the look, and nearly always there is nothing to fetch.
std::uint32_t takeLostMessages() {
    return lostMessages.load(std::memory_order_relaxed) == 0 ? 0 : lostMessages.exchange(0);
}

// Null if no record is free; what should have gone into it is then counted as lost.
LogRecord* takeRecord() {
    LogRecord* record = pool.take();
    if (record == nullptr) {
        lostMessages.fetch_add(1, std::memory_order_relaxed);
    }
    return record;
}

// False if the message was lost.
bool queueMessage(double time, unsigned int level, const char* module, const char* message) {
    LogRecord* record = takeRecord();
    if (record == nullptr) {
        return false;
    }
    record->time = time;
    record->level = level;
    record->lost = takeLostMessages();
    core::copyCut(record->module, module);
    core::copyCut(record->message, message);
    writer().queue(*record);
    return true;
}

void echo(double time, unsigned int level, const char* module, const char* message) {
    if ((level & QZ_LOG_TRACE) == 0 && platform::echoWanted()) {
        const core::LogLine line(time, level, module, message);
        platform::echo(line.text(), line.length());
    }
    if ((level & kPopupMask) != 0) {
        platform::alertBox(message, core::logLevelName(level));
    }
}

void reportThreadFailure() {
    constexpr char kMessage[] = "can't start log thread";
    duplicates.noteIfFree(kMessage);
    echo(QZ_get_time(), QZ_LOG_ALERT, "LOG", kMessage);
}

// Asks the writer thread to end. False if it did not within the limit: then it keeps everything.
bool endWriterThread(std::chrono::microseconds limit) {
    writer().hook().stop();
    running.store(false, std::memory_order_release);
    writer().endThread();
    if (!writerThreadEnded.waitFor(limit)) {
        return false;
    }
    QZ_thread_wait(std::exchange(writerThread, nullptr));
    return true;
}

constexpr std::chrono::hours kNoLimit{1};

} // namespace

int qz_log_init() {
    if (initialised.load(std::memory_order_acquire)) {
        return -1;
    }
    pool.fill();
    lostMessages.store(0, std::memory_order_relaxed);
    new (writerStorage) core::LogWriter(pool, duplicates);
    writer().open();
    writerThreadEnded.create(0);
    platform::refreshEcho();
    initialised.store(true, std::memory_order_release);
    return 0;
}

void qz_log(const char* module, unsigned int level, const char* message) {
    const double time = QZ_get_time();
    module = module != nullptr ? module : kNullText;
    message = message != nullptr ? message : kNullText;
    if (!initialised.load(std::memory_order_acquire)) {
        duplicates.noteIfFree(message);
    } else if (!queueMessage(time, level, module, message)) {
        duplicates.noteIfFree(message);
        return; // overload: an echo would only slow the caller down further
    }
    echo(time, level, module, message);
}

void qz_vlogf(const char* module, unsigned int level, const char* format, va_list arguments) {
    char message[1024];
    if (std::vsnprintf(message, sizeof message, format, arguments) < 0) {
        core::copyCut(message,
                      format); // an argument could not be converted: better this than nothing
    }
    qz_log(module, level, message);
}

void qz_logf(const char* module, unsigned int level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    qz_vlogf(module, level, format, arguments);
    va_end(arguments);
}

int qz_log_start(const char* directory, const char* name) {
    if (!initialised.load(std::memory_order_acquire) || running.load(std::memory_order_acquire)) {
        return -1;
    }
    platform::refreshEcho();
    writer().outputs().setDirectory(directory != nullptr ? directory : ".");
    if (name != nullptr) {
        writer().outputs().open(name, "", QZ_LOG_ALL);
    }
    running.store(true, std::memory_order_release);
    writerThread = QZ_thread_create(runWriterThread, nullptr, 1);
    if (writerThread != nullptr) {
        return 0;
    }
    const int error = errno;
    running.store(false, std::memory_order_release);
    reportThreadFailure();
    writer().drain();
    return error;
}

void qz_log_stop(void) {
    if (running.load(std::memory_order_acquire)) {
        while (!endWriterThread(kNoLimit)) {
        }
        writer().drain();
    }
}

void qz_log_exit(void) {
    if (!initialised.exchange(false)) {
        return;
    }
    if (running.load(std::memory_order_acquire)) {
        qz_log_stop();
    } else {
        writer().drain();
    }
    writer().close();
}

void core::closeLogAtExit() {
    constexpr std::chrono::seconds kLongestWait{2};
    if (!initialised.exchange(false)) {
        return;
    }
    if (running.load(std::memory_order_acquire) && !endWriterThread(kLongestWait)) {
        return;
    }
    writer().drain();
    writer().close();
}

void qz_log_set_output(const char* name, const char* module_filter, unsigned int mask) {
    LogRecord* record = initialised.load(std::memory_order_acquire) ? takeRecord() : nullptr;
    if (record != nullptr) {
        record->time = LogRecord::kControlTime;
        record->level = mask;
        record->lost = 0; // left for a message to report: requests write nothing
        core::copyCut(record->module, module_filter != nullptr ? module_filter : "");
        core::copyCut(record->message, name != nullptr ? name : "");
        writer().queue(*record);
    }
}

int qz_log_hook_start(void) {
    return running.load(std::memory_order_acquire) && writer().hook().start() ? 0 : -1;
}

const qz_log_entry* qz_log_hook_read(void) {
    return initialised.load(std::memory_order_acquire) ? writer().hook().read() : nullptr;
}

void qz_log_hook_stop(void) {
    if (initialised.load(std::memory_order_acquire)) {
        writer().hook().stop();
    }
}

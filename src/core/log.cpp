#include "core/library_log.h"

#include "Core/Clock.h"
#include "core/log_line.h"
#include "core/log_record.h"
#include "core/log_thread.h"
#include "core/log_writer.h"
#include "core/static_storage.h"
#include "platform/console.h"
#include "platform/cut_text.h"
#include "platform/environment.h"
#include "platform/thread.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <new>
#include <optional>
#include <utility>

namespace {

using core::LogRecord;

constexpr unsigned int kEchoable = ~static_cast<unsigned int>(QZ_LOG_TRACE);
constexpr unsigned int kPopupMask = QZ_LOG_ALERT;
constexpr char kNullText[] = "<NULL>";

// Constant-initialised and never destroyed: other static objects log while they are made and
// destroyed, and threads may still be in a call when the process ends.
constinit core::LogRecordPool pool;
constinit core::LogDuplicates duplicates;
constinit core::StaticStorage<core::LogWriter> writerStorage{}; // made by qz_log_init

constinit std::atomic<bool> initialised{false};

constinit std::atomic<unsigned int> echoMask{kEchoable};

constinit core::LogThread thread;

core::LogWriter& writer() {
    return writerStorage.object();
}

// Another processor was most likely the last to write the data that all callers write to. Asking
// for all of it before the clock is read spares the call a wait for each part in turn.
void prefetchSharedState() {
    pool.prefetch();
    writer().prefetch();
}

// False if the message was lost.
bool queueMessage(double time, unsigned int level, const char* module, const char* message) {
    LogRecord* record = pool.take();
    if (record == nullptr) {
        return false;
    }
    record->time = std::max(time, 0.0); // a clock that was set back makes no request of it
    record->level = level;
    record->lost = pool.takeLost();
    platform::copyCut(record->module, module);
    platform::copyCut(record->message, message);
    writer().queue(*record);
    return true;
}

void echo(double time, unsigned int level, const char* module, const char* message) {
    const unsigned int echoed = echoMask.load(std::memory_order_relaxed);
    if (echoed != 0 && (level & ~echoed) == 0 && platform::echoWanted()) {
        const core::LogLine line(time, level, module, message);
        platform::echo(line.text(), line.length());
    }
    if ((level & kPopupMask) != 0) {
        platform::alertBox(message, core::PaddedLevel(level).text);
    }
}

// Echoes a message that no log file can take.
void report(unsigned int level, const char* message) {
    duplicates.noteIfFree(message);
    echo(QZ_get_time(), level, core::kLogModule, message);
}

void openFirstOutput(const char* directory, const char* name) {
    if (!writer().outputs().open(name, "", QZ_LOG_ALL)) {
        char message[512];
        std::snprintf(message, sizeof message, "can't open \"%s/%s.log\"", directory, name);
        report(QZ_LOG_ERROR, message);
    }
}

void closeWriter() {
    writer().drain();
    writer().close();
    thread.close();
}

// True for the caller that ends the use of the log. In a forked child there is nothing to end.
bool endUse() {
    return initialised.exchange(false) && !thread.isElsewhere();
}

// In a child that is forked while the writer thread runs, messages are only echoed: another thread
// may have been using the records or the queue, and would never end.
void leaveToParent() {
    if (thread.isElsewhere()) {
        initialised.store(false, std::memory_order_release);
    }
}

// `failed` if it is not set.
platform::VariableStatus echoVariable(char* buffer, std::size_t size) {
    try {
        return platform::getVariable("QZ_LOG_ECHO", buffer, size);
    } catch (const std::bad_alloc&) {
        return platform::VariableStatus::failed;
    }
}

// The user's choice goes before the program's.
std::optional<unsigned int> wantedEcho() {
    using platform::VariableStatus;
    char buffer[128];
    unsigned int levels = 0;
    const VariableStatus status = echoVariable(buffer, sizeof buffer);
    if (status == VariableStatus::done && qz_log_parse_levels(buffer, &levels) != 0) {
        return levels;
    }
    if (status != VariableStatus::failed) {
        report(QZ_LOG_WARNING, "QZ_LOG_ECHO does not name levels");
    }
    const unsigned int* const ofProgram = platform::echoLevels();
    return ofProgram != nullptr ? std::optional(*ofProgram) : std::nullopt;
}

} // namespace

int qz_log_init() {
    if (initialised.load(std::memory_order_acquire)) {
        return -1;
    }
    const bool areForksNoted = platform::callInChildren(leaveToParent);
    pool.fill();
    writerStorage.make(pool, duplicates);
    writer().open();
    thread.open(writer());
    platform::refreshEcho();
    if (const auto levels = wantedEcho()) {
        echoMask.store(*levels & kEchoable, std::memory_order_relaxed);
    }
    if (!areForksNoted) {
        report(QZ_LOG_WARNING, "no memory to note forks: a forked child must not log");
    }
    initialised.store(true, std::memory_order_release);
    return 0;
}

void qz_log(const char* module, unsigned int level, const char* message) {
    const bool isQueueing = initialised.load(std::memory_order_acquire);
    if (isQueueing) {
        prefetchSharedState();
    }
    const double time = QZ_get_time();
    module = module != nullptr ? module : kNullText;
    message = message != nullptr ? message : kNullText;
    if (!isQueueing) {
        duplicates.noteIfFree(message);
    } else if (!queueMessage(time, level, module, message)) {
        duplicates.noteIfFree(message);
        return; // overload: an echo would only slow the caller down further
    }
    echo(time, level, module, message);
}

void qz_vlogf(const char* module, unsigned int level, const char* format, va_list arguments) {
    if (format == nullptr) {
        qz_log(module, level, nullptr);
        return;
    }
    char message[1024];
    if (std::vsnprintf(message, sizeof message, format, arguments) < 0) {
        // An argument could not be converted: the format alone is better than nothing.
        platform::copyCut(message, format);
    }
    qz_log(module, level, message);
}

int qz_log_start(const char* directory, const char* name) {
    if (!initialised.load(std::memory_order_acquire) || thread.wasStarted()) {
        return -1;
    }
    platform::refreshEcho();
    directory = directory != nullptr ? directory : ".";
    if (!writer().outputs().setDirectory(directory)) {
        qz_logf(core::kLogModule, QZ_LOG_ERROR, "directory cut at 255 bytes: \"%s\"", directory);
    }
    if (name != nullptr) {
        openFirstOutput(directory, name);
    }
    const int error = thread.start();
    if (error != 0) {
        report(QZ_LOG_ALERT, "can't start log thread");
    }
    return error;
}

void qz_log_stop(void) {
    thread.stop();
}

void qz_log_exit(void) {
    if (endUse()) {
        thread.stop();
        closeWriter();
    }
}

void core::closeLogAtUnload(std::chrono::milliseconds limit) {
    if (endUse() && thread.stopAtUnload(limit)) {
        closeWriter();
    }
}

void core::closeLogReadersAtUnload() {
    writer().readers().closeAll();
}

void core::letLogCatchUp(std::chrono::milliseconds longest) {
    thread.catchUp(longest);
}

void core::rescueLogAtProcessEnd() {
    if (initialised.load(std::memory_order_acquire)) {
        writer().rescue();
    }
}

void qz_log_set_output(const char* name, const char* module_filter, unsigned int mask) {
    LogRecord* record = initialised.load(std::memory_order_acquire) ? pool.take() : nullptr;
    if (record != nullptr) {
        record->time = LogRecord::kControlTime;
        record->level = mask;
        record->lost = 0; // left for a message to report: requests write nothing
        platform::copyCut(record->module, module_filter != nullptr ? module_filter : "");
        platform::copyCut(record->message, name != nullptr ? name : "");
        writer().queue(*record);
    }
}

int qz_log_hook_start(void) {
    return thread.isRunning() && writer().hook().start() ? 0 : -1;
}

const qz_log_entry* qz_log_hook_read(void) {
    return initialised.load(std::memory_order_acquire) ? writer().hook().read() : nullptr;
}

void qz_log_hook_stop(void) {
    if (initialised.load(std::memory_order_acquire)) {
        writer().hook().stop();
    }
}

bool core::isLogToCome() {
    return initialised.load(std::memory_order_acquire) && !thread.isOver() && !thread.isElsewhere();
}

qz_log_reader* core::openLogSink(std::unique_ptr<LogSink> sink) {
    return isLogToCome() ? writer().readers().open(std::move(sink)) : nullptr;
}

qz_log_reader* qz_log_reader_open(void) {
    return core::openLogSink(
        std::unique_ptr<core::LogSink>(new (std::nothrow) core::LogReaderQueue));
}

const qz_log_entry* qz_log_reader_read(qz_log_reader* reader) {
    return reader != nullptr ? reader->read() : nullptr;
}

void qz_log_reader_close(qz_log_reader* reader) {
    if (reader != nullptr) {
        reader->close();
    }
}

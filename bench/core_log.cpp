// The log, compared with spdlog: how long a call takes, and how many lines the writer thread writes
// to disk.
#include "Core/Log.h"

#include <benchmark/benchmark.h>
#include <spdlog/async_logger.h>
#include <spdlog/details/thread_pool.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <x86intrin.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kModule[] = "BENCH";

std::string logDirectory() {
    static const struct Directory {
        std::string path = (std::filesystem::temp_directory_path() / "qz_bench.XXXXXX").string();

        Directory() {
            if (mkdtemp(path.data()) == nullptr) {
                std::perror(path.c_str());
                std::exit(1);
            }
        }
        ~Directory() { std::filesystem::remove_all(path); }
    } directory;
    return directory.path;
}

// Lines of the same length; neighbours differ.
std::vector<std::string> makeTexts(std::size_t producer) {
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < 64; ++i) {
        char text[128];
        std::snprintf(text, sizeof text,
                      "producer %02zu moved entity %04zu to sector 17, nothing to do", producer, i);
        texts.emplace_back(text);
    }
    return texts;
}

std::int64_t sizeOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? std::int64_t{status.st_size} : -1;
}

template<class Condition>
bool waitFor(Condition condition) {
    constexpr std::chrono::seconds kPatience{10};
    for (const auto end = Clock::now() + kPatience; !condition();) {
        if (Clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    return true;
}

// --- The loggers. All write "seconds.milliseconds LEVEL   module: text" into a file.

// The process's only log; it is started once and is idle while others are measured.
class Qz {
public:
    static Qz& instance() {
        static Qz log;
        return log;
    }

    void operator()(const std::string& text) const { qz_log(kModule, QZ_LOG_INFO, text.c_str()); }

    // The size of the file with so many lines.
    static std::int64_t bytesFor(std::int64_t lines, const std::string& text) {
        constexpr char kAround[] = "00000.000 INFO    BENCH: \n";
        return lines * static_cast<std::int64_t>(sizeof kAround - 1 + text.size());
    }

    std::int64_t bytesWritten() const { return sizeOf(path_); }

    // How many of this program's lines are in the file, after the writer thread has had time to
    // write.
    std::int64_t linesWritten() const {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        std::ifstream file(path_);
        std::int64_t lines = 0;
        for (std::string line; std::getline(file, line);) {
            lines += line.find(kModule) != std::string::npos ? 1 : 0;
        }
        return lines;
    }

    // Starts a new file.
    bool reopen() {
        qz_log_set_output(kName, nullptr, 0);
        qz_log_set_output(kName, nullptr, QZ_LOG_ALL);
        return waitFor([this] { return bytesWritten() == 0; });
    }

private:
    static constexpr char kName[] = "qz";

    // Turns the echo off before the log starts, because the log decides then.
    Qz() {
        const int keptError = dup(STDERR_FILENO);
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDERR_FILENO);
        qz_log_start(logDirectory().c_str(), nullptr);
        dup2(keptError, STDERR_FILENO);
        close(null);
        close(keptError);
    }
    ~Qz() { qz_log_stop(); }

    std::string path_ = logDirectory() + "/" + kName + ".log";
};

enum class Flushing { never, everyLine };

class Spdlog {
public:
    void operator()(const std::string& text) const { logger_->info(text); }

protected:
    static std::shared_ptr<spdlog::sinks::sink> makeSink() {
        return std::make_shared<spdlog::sinks::basic_file_sink_mt>(logDirectory() + "/spdlog.log",
                                                                   true);
    }

    void use(std::shared_ptr<spdlog::logger> logger, Flushing flushing) {
        logger_ = std::move(logger);
        logger_->set_pattern("%E.%e %-7l %n: %v");
        if (flushing == Flushing::everyLine) {
            logger_->flush_on(spdlog::level::info);
        }
    }

    std::shared_ptr<spdlog::logger> logger_;
};

class SpdlogAsync : public Spdlog {
public:
    explicit SpdlogAsync(Flushing flushing)
        : threads_(std::make_shared<spdlog::details::thread_pool>(8192, 1)) {
        use(std::make_shared<spdlog::async_logger>(kModule, makeSink(), threads_,
                                                   spdlog::async_overflow_policy::block),
            flushing);
    }

    // The thread writes queued lines before it ends.
    void finish() {
        threads_.reset();
        logger_->sinks().front()->flush();
    }

private:
    std::shared_ptr<spdlog::details::thread_pool> threads_;
};

class SpdlogSync : public Spdlog {
public:
    explicit SpdlogSync(Flushing flushing) {
        use(std::make_shared<spdlog::logger>(kModule, makeSink()), flushing);
    }

    void finish() { logger_->flush(); }
};

// --- Calls: bursts of a few lines, as a frame of an application has them.

constexpr std::size_t kBursts = 1000;
constexpr std::size_t kLinesInBurst = 20;
constexpr std::chrono::microseconds kIdle{200};

// In ticks of the processor's clock, including the time to read it once.
using CallTimes = std::vector<std::uint64_t>;

template<class Log>
void burst(Log& log, const std::vector<std::string>& texts, std::uint64_t* times) {
    std::uint64_t before = __rdtsc();
    for (std::size_t i = 0; i < kLinesInBurst; ++i) {
        log(texts[i]);
        const std::uint64_t after = __rdtsc();
        times[i] = after - before;
        before = after;
    }
}

template<class Log>
void callInBursts(Log& log, std::size_t producer, CallTimes& times, std::latch& start) {
    const std::vector<std::string> texts = makeTexts(producer);
    times.resize(kBursts * kLinesInBurst); // touches the memory before the measurement
    start.arrive_and_wait();
    for (std::size_t i = 0; i < kBursts; ++i) {
        burst(log, texts, &times[i * kLinesInBurst]);
        std::this_thread::sleep_for(kIdle);
    }
}

template<class Log>
CallTimes callFrom(std::size_t producers, Log& log) {
    std::vector<CallTimes> times(producers);
    std::latch start(static_cast<std::ptrdiff_t>(producers));
    {
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < producers; ++i) {
            threads.emplace_back([&, i] { callInBursts(log, i, times[i], start); });
        }
    }
    CallTimes all;
    for (const CallTimes& some : times) {
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

double percentile(CallTimes& times, double part) {
    const auto rank = static_cast<std::ptrdiff_t>(static_cast<double>(times.size() - 1) * part);
    std::nth_element(times.begin(), times.begin() + rank, times.end());
    return static_cast<double>(times[static_cast<std::size_t>(rank)]);
}

template<class Log>
void reportCalls(benchmark::State& state, Log& log) {
    const auto producers = static_cast<std::size_t>(state.range(0));
    const auto before = Clock::now();
    const std::uint64_t ticksBefore = __rdtsc();
    CallTimes times = callFrom(producers, log);
    const std::chrono::duration<double, std::nano> nanoseconds = Clock::now() - before;
    const double tick = nanoseconds.count() / static_cast<double>(__rdtsc() - ticksBefore);
    state.SetIterationTime(nanoseconds.count() / 1e9);
    state.counters["p50"] = percentile(times, 0.5) * tick;
    state.counters["p99"] = percentile(times, 0.99) * tick;
    state.counters["p99.9"] = percentile(times, 0.999) * tick;
}

void qzCalls(benchmark::State& state) {
    for (auto _ : state) {
        Qz& log = Qz::instance();
        if (!log.reopen()) {
            state.SkipWithError("the log opens no file");
            break;
        }
        reportCalls(state, log);
        const auto lines = static_cast<std::int64_t>(kBursts * kLinesInBurst) * state.range(0);
        state.counters["lost"] = static_cast<double>(lines - log.linesWritten());
    }
}

void spdlogCalls(benchmark::State& state, Flushing flushing) {
    for (auto _ : state) {
        SpdlogAsync log(flushing);
        reportCalls(state, log);
        log.finish();
    }
}

void emptyCalls(benchmark::State& state) {
    const auto nothing = [](const std::string&) {};
    for (auto _ : state) {
        reportCalls(state, nothing);
    }
}

// --- The writer thread, flat out.

constexpr std::int64_t kLines = 200'000;

void reportLines(benchmark::State& state, Clock::time_point before) {
    const std::chrono::duration<double> seconds = Clock::now() - before;
    state.SetIterationTime(seconds.count());
    state.counters["lines/s"] = static_cast<double>(kLines) / seconds.count();
}

// The log drops messages that find no free record. The producer watches the file's size to keep
// below that limit.
bool writeAll(const Qz& log, const std::vector<std::string>& texts) {
    constexpr std::int64_t kStep = 128;
    constexpr std::int64_t kMostOnTheWay = 768;
    for (std::int64_t line = 0; line < kLines; ++line) {
        if (line % kStep == 0) {
            const std::int64_t bytes = Qz::bytesFor(line + kStep - kMostOnTheWay, texts.front());
            while (log.bytesWritten() < bytes) {
                std::this_thread::yield();
            }
        }
        log(texts[static_cast<std::size_t>(line) % texts.size()]);
    }
    return waitFor([&] { return log.bytesWritten() == Qz::bytesFor(kLines, texts.front()); });
}

void qzLines(benchmark::State& state) {
    const std::vector<std::string> texts = makeTexts(0);
    for (auto _ : state) {
        Qz& log = Qz::instance();
        if (!log.reopen()) {
            state.SkipWithError("the log opens no file");
            break;
        }
        const auto before = Clock::now();
        const bool isComplete = writeAll(log, texts);
        reportLines(state, before);
        if (!isComplete) {
            state.SkipWithError("lines were lost");
        }
    }
}

template<class Log>
void spdlogLines(benchmark::State& state, Flushing flushing) {
    const std::vector<std::string> texts = makeTexts(0);
    for (auto _ : state) {
        Log log(flushing);
        const auto before = Clock::now();
        for (std::int64_t line = 0; line < kLines; ++line) {
            log(texts[static_cast<std::size_t>(line) % texts.size()]);
        }
        log.finish();
        reportLines(state, before);
    }
}

template<class Function, class... Arguments>
void addCalls(const char* name, Function function, Arguments... arguments) {
    benchmark::RegisterBenchmark(name, function, arguments...)
        ->ArgName("producers")
        ->Arg(1)
        ->Arg(2)
        ->Iterations(1)
        ->UseManualTime();
}

template<class Function, class... Arguments>
void addLines(const char* name, Function function, Arguments... arguments) {
    benchmark::RegisterBenchmark(name, function, arguments...)->Iterations(1)->UseManualTime();
}

const bool added = [] {
    addCalls("log_call/nothing", emptyCalls);
    addCalls("log_call/qz", qzCalls);
    addCalls("log_call/spdlog_flushing", spdlogCalls, Flushing::everyLine);
    addCalls("log_call/spdlog", spdlogCalls, Flushing::never);
    addLines("log_writer/qz", qzLines);
    addLines("log_writer/spdlog_flushing", spdlogLines<SpdlogAsync>, Flushing::everyLine);
    addLines("log_writer/spdlog", spdlogLines<SpdlogAsync>, Flushing::never);
    addLines("log_writer/spdlog_sync_flushing", spdlogLines<SpdlogSync>, Flushing::everyLine);
    addLines("log_writer/spdlog_sync", spdlogLines<SpdlogSync>, Flushing::never);
    return true;
}();

} // namespace

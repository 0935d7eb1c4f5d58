#include "Core/Clock.h"
#include "common/recording.h"
#include "core/decimal.h"
#include "core/json_text.h"
#include "platform/file.h"

#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace common {

namespace {

// A file that is written in large pieces.
class TraceFile {
public:
    explicit TraceFile(const char* path) : file_(path, platform::FileAccess::write) {
        if (file_.isOpen()) {
            file_.truncate();
        }
    }

    void write(std::string_view text) {
        text_ += text;
        if (text_.size() >= kPiece) {
            flush();
        }
    }

    // True if everything was written.
    bool close() {
        flush();
        file_.close();
        return file_.error() == 0;
    }

private:
    static constexpr std::size_t kPiece = 1 << 16;

    void flush() {
        file_.write(text_.data(), text_.size());
        text_.clear();
    }

    platform::File file_;
    std::string text_;
};

// Converts ticks to the format's unit, microseconds.
class Times {
public:
    Times() : scale_(1e6 / static_cast<double>(QZ_get_tick_rate())) {}

    double operator()(std::int64_t ticks) const { return static_cast<double>(ticks) * scale_; }

private:
    double scale_;
};

class Trace {
public:
    explicit Trace(const char* path) : file_(path) {
        file_.write(R"({"displayTimeUnit":"ms","traceEvents":[)");
    }

    void write(const ThreadId& thread) {
        if (*thread.name.text != '\0') {
            file_.write(std::exchange(separator_, ",\n"));
            file_.write(R"({"name":"thread_name","ph":"M","pid":1,"tid":)" +
                        std::to_string(thread.number) + R"(,"args":{"name":)" +
                        core::jsonText(thread.name.text) + "}}");
        }
    }

    void write(const char* name, unsigned thread, std::int64_t start, std::int64_t duration) {
        file_.write(std::exchange(separator_, ",\n"));
        file_.write("{\"name\":" + core::jsonText(name) + R"(,"ph":"X","pid":1,"tid":)" +
                    std::to_string(thread) + R"(,"ts":)" +
                    core::Fixed(microseconds_(start), 3).text() + R"(,"dur":)" +
                    core::Fixed(microseconds_(duration), 3).text() + "}");
    }

    // True if everything was written.
    bool close() {
        file_.write("\n]}\n");
        return file_.close();
    }

private:
    TraceFile file_;
    const Times microseconds_;
    const char* separator_ = "\n";
};

} // namespace

bool writeTrace(const Common::Profiler::Recording* recording, const char* path) {
    Trace trace(path);
    if (recording != nullptr) {
        recording->read(
            [&](const EndedThreads& ended) {
                for (const ThreadId& thread : ended.threads()) {
                    trace.write(thread);
                }
                for (const EndedThreads::Section& section : ended.sections()) {
                    trace.write(section.name, section.thread, section.start, section.duration);
                }
            },
            [&](const ProfiledThread& thread) {
                const ThreadId id = thread.id();
                if (thread.sections().size() > 0) {
                    trace.write(id);
                }
                thread.sections().read([&](const ProfiledSection& section) {
                    trace.write(section.unit->name(), id.number, section.start, section.duration);
                });
            });
    }
    return trace.close();
}

} // namespace common

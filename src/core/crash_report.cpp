#include "Core/CrashReport.h"

#include "core/crash_terminate.h"
#include "core/crash_text.h"
#include "core/library_log.h"
#include "platform/crash.h"
#include "platform/cut_text.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "platform/library.h"
#include "platform/symbols.h"

#include <chrono>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>

namespace {

using core::CrashLine;

constexpr char kModule[] = "QZCORE";
constexpr char kNamelessProgram[] = "program";
constexpr std::size_t kLongestPrefix = 259;
constexpr std::chrono::milliseconds kLogMoment{1000};

// An endless recursion has more frames than anybody reads or a disk likes to hold.
constexpr int kMostFrames = 4096;

// The handler that runs after the report may return to the fault again and again.
constexpr int kMostReports = 16;

constinit char prefix[kLongestPrefix + 1] = "";
constinit bool isInstalled = false;
constinit int reports = 0; // changed by the thread that has the turn to report

// The first lines go to the file one by one, because each takes long to find; later ones go many at
// once.
class ReportFile {
public:
    explicit ReportFile(const char* path) : file_(path, platform::FileAccess::record) {
        if (isOpen()) {
            file_.seekEnd();
        }
    }

    bool isOpen() const { return file_.isOpen(); }
    platform::SystemError error() const { return file_.error(); }

    void write(CrashLine& line) {
        const std::string_view text = line.end().text();
        if (used_ + text.size() > sizeof buffer_) {
            flush();
        }
        std::memcpy(buffer_ + used_, text.data(), text.size());
        used_ += text.size();
        if (++lines_ <= kWrittenAtOnce) {
            flush();
        }
    }

    void flush() {
        file_.write(buffer_, used_);
        used_ = 0;
    }

private:
    static constexpr int kWrittenAtOnce = 64;

    platform::File file_;
    int lines_ = 0;
    std::size_t used_ = 0;
    char buffer_[4096];
};

// The data of a report. Not on the stack, where room may be short.
struct Workplace {
    ReportFile* file;
    int frames;
    platform::ModulePlace place;
    platform::SourcePlace source;
};
constinit Workplace workplace{};

bool writeFrame(void*, const platform::StackFrame& frame) {
    if (++workplace.frames > kMostFrames) {
        return false;
    }
    workplace.source = {};
    platform::findModule(frame.address, workplace.place);
    if (workplace.place.section != 0) {
        platform::findSource(frame.address, frame.isReturnAddress, workplace.source);
    }
    CrashLine line;
    line.hex(static_cast<std::uint32_t>(frame.address), 8).add(" ");
    line.hex(static_cast<std::uint32_t>(frame.frame), 8).add(" ");
    core::addLocation(line, workplace.place, workplace.source);
    workplace.file->write(line);
    return true;
}

void writeHeader(const platform::Fault& fault, std::string_view stamp) {
    const platform::ModulePlace& place = workplace.place;
    platform::findModule(fault.address, workplace.place);
    CrashLine title;
    workplace.file->write(title.add("# -------------- ").add(stamp).add(" --------------"));
    CrashLine module;
    workplace.file->write(module.add(place.module));
    CrashLine cause;
    cause.add("# ").hex(fault.code, 8).add(" ").add(core::faultName(fault.code));
    cause.add(" at ").hex(static_cast<std::uint32_t>(fault.address), 8).add(" ");
    workplace.file->write(cause.hex(place.section, 2).add(":").hex(place.offset, 8));
}

// Written behind the frames, where programs that read reports take it for a comment.
void writeException() {
    if (const std::string_view words = core::uncaughtException(); !words.empty()) {
        CrashLine line;
        workplace.file->write(line.add("# Uncaught exception: ").add(words));
    }
}

void logReport(const ReportFile& file, std::string_view path) {
    CrashLine message;
    message.add(file.isOpen() ? "Crash report: " : "No crash report: ").add(path);
    if (file.error() != 0) {
        char why[128];
        platform::systemErrorText(file.error(), why, sizeof why);
        message.add(file.isOpen() ? ", cut off: " : ": ").add(why);
    }
    qz_log(kModule, QZ_LOG_ERROR, message.terminated());
}

void writeReport(const platform::Fault& fault) {
    CrashLine stamp;
    core::addTimeStamp(stamp, platform::systemTime());
    CrashLine path;
    path.add(prefix).add("-").add(stamp.text()).add(".crash");
    ReportFile file(path.terminated());
    if (file.isOpen()) {
        workplace.file = &file;
        workplace.frames = 0;
        writeHeader(fault, stamp.text());
        platform::walkStack(fault, writeFrame, nullptr);
        writeException();
        file.flush();
    }
    logReport(file, path.text());
}

void onFault(const platform::Fault& fault) {
    if (++reports > kMostReports) {
        return;
    }
    writeReport(fault);
    core::letLogCatchUp(kLogMoment);
}

void usePrefixOfProgram() try {
    const std::string name = platform::executableName().value_or(kNamelessProgram);
    platform::copyCut(prefix, std::string_view(name).substr(0, name.rfind('.')));
} catch (const std::exception&) { // out of memory
    platform::copyCut(prefix, kNamelessProgram);
}

// Logs what is wrong with the prefix now: a crash could not say so any more.
void reportUnfitPrefix() {
    const std::size_t length = std::string_view(prefix).find_last_of("/\\") + 1;
    char folder[sizeof prefix] = "";
    std::memcpy(folder, prefix, length);
    if (length > 0 && platform::pathKind(folder) != platform::PathKind::directory) {
        qz_logf(kModule, QZ_LOG_ERROR, "There is no folder \"%s\" for crash reports", folder);
    }
    if (platform::leadsToStream(prefix)) {
        qz_logf(kModule, QZ_LOG_ERROR,
                "Crash reports named \"%s\" are alternate streams, which no listing shows", prefix);
    }
}

} // namespace

bt_filter bt_init(const char* given) {
    if (given != nullptr) {
        platform::copyCut(prefix, given);
    } else {
        usePrefixOfProgram();
    }
    reportUnfitPrefix();
    if (isInstalled) {
        return nullptr;
    }
    platform::keepLibraryLoaded(); // the system may call the handler after an unload
    isInstalled = true;
    core::logUncaughtExceptions();
    return reinterpret_cast<bt_filter>(platform::installFaultFunction(onFault));
}

void bt_fini() {
    if (isInstalled) {
        isInstalled = false;
        platform::removeFaultFunction();
        core::leaveUncaughtExceptions();
    }
}

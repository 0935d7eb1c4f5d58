#include "Core/CrashReport.h"
#include "core/crash_lines.h"
#include "core/crash_modules.h"
#include "core/crash_text.h"
#include "platform/cut_text.h"
#include "platform/demangle.h"
#include "platform/file.h"
#include "platform/symbols.h"
#include "platform/whole_file.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using core::LineCursor;
using platform::ModuleFile;

constexpr std::size_t kHeadLimit = 260;
constexpr std::size_t kFrameLimit = 1040;
constexpr std::int64_t kLargestReport = std::int64_t{64} << 20;
constexpr std::string_view kReportEnding = ".crash";
constexpr std::string_view kCopyEnding = ".info";

bool isComment(std::string_view line) {
    return !line.empty() && line[0] == '#';
}

// "ns::f(int) const" to "ns::f": addLocation adds empty parentheses to every symbol.
void dropParameters(std::string& name) {
    const std::size_t close = name.rfind(')');
    if (close == std::string::npos) {
        return;
    }
    int depth = 0;
    for (std::size_t i = close + 1; i-- > 0;) {
        depth += name[i] == ')' ? 1 : 0;
        depth -= name[i] == '(' ? 1 : 0;
        if (depth == 0) {
            name.resize(i > 0 ? i : name.size());
            return;
        }
    }
}

// Makes C++ symbols readable.
void makeReadable(platform::SourcePlace& source) {
    if (std::strncmp(source.symbol, "_Z", 2) != 0) {
        return;
    }
    if (std::string name = platform::demangled(source.symbol); !name.empty()) {
        dropParameters(name);
        platform::copyCut(source.symbol, name);
    }
}

// The place of a report's frame in its module's file.
struct Position {
    ModuleFile* file = nullptr;
    std::string_view path;
    std::uint32_t address = 0; // from the module's beginning
    const char* problem = nullptr;
};

class Retrace {
public:
    explicit Retrace(std::string_view report) : report_(report) { learnBases(); }

    std::string copy();

private:
    void learnBases();
    Position locate(unsigned section, std::uint32_t offset, std::string_view text,
                    std::uint32_t address);
    Position locate(const core::FrameLine& frame);
    void learn(const Position& position, std::uint32_t address);
    void writeFrame(const LineCursor::Line& line, bool isReturnAddress);
    void write(const core::FrameLine& frame, std::string_view text, std::string_view remark);
    bool writeFound(const core::FrameLine& frame, const Position& position, bool isReturnAddress);

    std::string_view report_;
    core::ModuleFiles files_;
    core::ModuleBases bases_;
    std::optional<std::int64_t> crashTime_;
    std::string copy_;
};

Position Retrace::locate(unsigned section, std::uint32_t offset, std::string_view text,
                         std::uint32_t address) {
    Position position;
    position.file = text.empty() ? nullptr : files_.find(text, position.path);
    if (text.empty()) {
        position.problem = "in no module";
    } else if (position.file == nullptr) {
        position.problem = "no such module here";
    } else if (crashTime_ && position.file->changeTime() > *crashTime_) {
        position.problem = "the module is younger than the crash";
    } else if (!position.file->addressOf(section, offset, position.address)) {
        position.problem = "the module has no such place";
    } else if (!position.file->mayBeginAt(address - position.address)) {
        position.problem = "the module could not have been there";
    }
    return position;
}

Position Retrace::locate(const core::FrameLine& frame) {
    core::LocatedText location;
    if (core::parseLocation(frame.text, location)) {
        return locate(location.section, location.offset, location.rest, frame.address);
    }
    const core::ModuleBases::Found found = bases_.find(frame.address);
    Position position{found.file, found.path, found.address, nullptr};
    if (found.file == nullptr) {
        position.problem = "nothing tells what was there";
    }
    return position;
}

void Retrace::learn(const Position& position, std::uint32_t address) {
    if (position.problem == nullptr) {
        bases_.add(*position.file, position.path, address - position.address);
    }
}

// Learns modules' addresses from the lines that tell them, for lines with an address only.
void Retrace::learnBases() {
    LineCursor lines(report_);
    std::string_view lastPlain;
    for (LineCursor::Line line; lines.next(kFrameLimit, line);) {
        core::CauseLine cause;
        core::FrameLine frame;
        core::LocatedText location;
        if (const std::int64_t time = core::parseTitle(line.text); time >= 0) {
            crashTime_ = crashTime_.value_or(time);
        } else if (core::parseCause(line.text, cause)) {
            learn(locate(cause.section, cause.offset, lastPlain, cause.address), cause.address);
        } else if (core::parseFrame(line.text, frame) &&
                   core::parseLocation(frame.text, location)) {
            learn(locate(frame), frame.address);
        }
        lastPlain = isComment(line.text) ? lastPlain : line.text;
    }
}

std::string Retrace::copy() {
    LineCursor lines(report_);
    LineCursor::Line line;
    bool isInHead = true;
    while (isInHead && lines.next(kHeadLimit, line)) {
        isInHead = isComment(line.text);
        if (isInHead) {
            copy_ += line.whole;
        } else {
            copy_.append(line.text).append(line.cut).append("\n");
        }
    }
    bool isReturnAddress = false; // the first frame is the fault's own
    while (lines.next(kFrameLimit, line)) {
        if (isComment(line.text)) {
            core::CauseLine cause;
            copy_ += line.whole;
            isReturnAddress = isReturnAddress && !core::parseCause(line.text, cause);
        } else {
            writeFrame(line, isReturnAddress);
            isReturnAddress = true;
        }
    }
    return std::move(copy_);
}

void Retrace::writeFrame(const LineCursor::Line& line, bool isReturnAddress) {
    core::FrameLine frame;
    if (!core::parseFrame(line.text, frame)) {
        copy_.append("#INVALID LINE: ").append(line.text).append(line.cut).append("\n");
        return;
    }
    const Position position = locate(frame);
    if (position.problem != nullptr) {
        write(frame, frame.text, position.problem);
    } else if (!writeFound(frame, position, isReturnAddress)) {
        write(frame, frame.text, {});
    }
}

void Retrace::write(const core::FrameLine& frame, std::string_view text, std::string_view remark) {
    core::CrashLine numbers;
    copy_ += numbers.hex(frame.address, 8).add(" ").hex(frame.frame, 8).add(" ").text();
    copy_ += text;
    if (!remark.empty()) {
        copy_.append(text.empty() || text.back() == ' ' ? "" : " ");
        copy_.append("(not retraced: ").append(remark).append(")");
    }
    copy_ += '\n';
}

// False if the file tells no more than the report.
bool Retrace::writeFound(const core::FrameLine& frame, const Position& position,
                         bool isReturnAddress) {
    platform::SourcePlace source;
    position.file->source(position.address, isReturnAddress, source);
    core::LocatedText location;
    if (source.symbol[0] == 0 && source.file[0] == 0 && core::parseLocation(frame.text, location)) {
        return false;
    }
    makeReadable(source);
    platform::ModulePlace place;
    position.file->placeOf(position.address, place.section, place.offset);
    platform::copyCut(place.module, position.path);
    core::CrashLine text;
    core::addLocation(text, place, source);
    write(frame, text.text(), {});
    return true;
}

// The report; nothing if it cannot be read or is being written.
std::optional<std::string> readReport(const std::string& path) {
    platform::File file(path.c_str(), platform::FileAccess::read);
    if (!file.isOpen() || !file.keepWritersOut()) {
        return std::nullopt;
    }
    const std::int64_t size = file.size();
    if (size < 0 || size > kLargestReport) {
        return std::nullopt;
    }
    std::string text(static_cast<std::size_t>(size), '\0');
    text.resize(file.read(text.data(), text.size()));
    return file.error() == 0 ? std::optional(std::move(text)) : std::nullopt;
}

bool retraceReport(const std::string& path) try {
    const std::string copyPath = path + std::string(kCopyEnding);
    if (platform::pathKind(copyPath.c_str()) != platform::PathKind::missing) {
        return false;
    }
    const std::optional<std::string> report = readReport(path);
    return report && platform::replaceContents(copyPath.c_str(), Retrace(*report).copy());
} catch (const platform::SymbolsOutOfReach&) {
    return false; // the next call may write a better copy
}

struct Listing {
    std::string_view begin; // of the reports' names
    std::vector<std::string> names;
};

void addReport(void* context, const char* name) {
    auto& listing = *static_cast<Listing*>(context);
    const std::string_view text(name);
    if (text.size() >= listing.begin.size() + kReportEnding.size() &&
        text.starts_with(listing.begin) && text.ends_with(kReportEnding)) {
        listing.names.emplace_back(text);
    }
}

// Retraces all reports whose paths begin with the pattern. Returns the number of copies, -1 if no
// symbols can be read.
int retraceMatching(std::string_view pattern) {
    const std::size_t nameBegin = pattern.find_last_of("/\\") + 1;
    const std::string folder(pattern.substr(0, nameBegin));
    Listing listing{pattern.substr(nameBegin), {}};
    platform::listDirectory(folder.empty() ? "." : folder.c_str(), addReport, &listing);
    if (listing.names.empty()) {
        return 0;
    }
    if (!platform::openSymbolFiles()) {
        return -1;
    }
    int count = 0;
    for (const std::string& name : listing.names) {
        count += retraceReport(folder + name) ? 1 : 0;
    }
    return count;
}

// A folder's name without a separator at its end also stands for the reports in the folder.
int retraceAll(const std::string& pattern) {
    const int count = retraceMatching(pattern);
    const bool isFolder = !pattern.empty() && pattern.find_last_of("/\\") + 1 != pattern.size() &&
                          platform::pathKind(pattern.c_str()) == platform::PathKind::directory;
    const int more = isFolder && count >= 0 ? retraceMatching(pattern + '\\') : 0;
    return more >= 0 ? count + more : more;
}

} // namespace

int bt_retrace(const char* directory) {
    if (directory == nullptr) {
        return 0;
    }
    try {
        static std::mutex mutex; // the system's symbol reader serves one thread at a time
        const std::lock_guard lock(mutex);
        return retraceAll(directory);
    } catch (const std::exception&) {
        return -1; // out of memory
    }
}

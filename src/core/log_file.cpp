#include "core/log_file.h"

#include "Core/Clock.h"
#include "core/library_log.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

namespace core {

namespace {

void keepPreviousGeneration(const char* path) {
    constexpr char kSuffix[] = ".old";
    char old[512 + sizeof kSuffix];
    std::snprintf(old, sizeof old, "%s%s", path, kSuffix);
    platform::replaceFile(path, old);
}

} // namespace

LogFile::~LogFile() {
    if (file_ == platform::kNoTextFile) {
        return;
    }
    flush();
    if (lost_ != 0) {
        begin(QZ_get_time());
        flush();
    }
    platform::closeTextFile(file_);
}

bool LogFile::open(const char* path) {
    if (platform::isOrdinaryFile(path)) {
        keepPreviousGeneration(path);
    }
    file_ = platform::openTextFile(path);
    return file_ != platform::kNoTextFile;
}

void LogFile::append(const LogLine& line, double time, std::uint32_t messages) {
    if (used_ + line.length() > sizeof buffer_ || lineCount_ == lines_.size()) {
        flush();
    }
    if (used_ == 0) {
        begin(time);
    }
    put(line, messages);
}

// The line that reports lost messages counts for them all: if it is lost too, they count again.
void LogFile::begin(double time) {
    if (endsInHalfLine_) {
        buffer_[used_++] = '\n';
    }
    if (const std::uint32_t lost = std::exchange(lost_, 0); lost != 0) {
        put(LogLine(time, QZ_LOG_WARNING, kLogModule, LostRemark(lost).text), lost);
    }
}

void LogFile::put(const LogLine& line, std::uint32_t messages) {
    std::memcpy(buffer_ + used_, line.text(), line.length());
    used_ += line.length();
    lines_[lineCount_++] = {used_, messages};
}

void LogFile::flush() {
    if (used_ == 0) {
        return;
    }
    const std::size_t taken = platform::writeText(file_, {buffer_, used_});
    if (taken == used_) {
        endsInHalfLine_ = false;
    } else {
        keepWholeLines(taken);
    }
    used_ = 0;
    lineCount_ = 0;
}

void LogFile::keepWholeLines(std::size_t taken) {
    std::size_t whole = 0;
    std::for_each_n(lines_.begin(), lineCount_, [&](const Line& line) {
        if (line.end <= taken) {
            whole = line.end;
        } else {
            lost_ += line.messages;
        }
    });
    if (taken > whole) {
        endsInHalfLine_ = !platform::takeBackText(file_, {buffer_ + whole, taken - whole});
    } else if (taken > 0) {
        endsInHalfLine_ = false;
    }
}

} // namespace core

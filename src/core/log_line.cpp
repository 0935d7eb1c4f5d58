#include "core/log_line.h"

#include "core/library_log.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

namespace core {

PaddedLevel::PaddedLevel(unsigned int level) {
    const char* const name = qz_log_level_name(level);
    std::memcpy(text, name, std::min(std::strlen(name), sizeof text - 1));
}

LogRemark::LogRemark(std::uint32_t number, const char* what) {
    std::snprintf(text, sizeof text, "%u %s", number, what);
}

LogLine::LogLine(double time, unsigned int level, const char* module, const char* message) {
    if ((level & QZ_LOG_TRACE) == 0) {
        appendTime(time);
        append(" ", 1);
        append(PaddedLevel(level).text, 7);
        append(" ", 1);
    }
    append(module);
    append(": ", 2);
    append(message);
    endLine();
}

// Always leaves room for the line break and the terminator.
void LogLine::append(const char* text, std::size_t length) {
    const std::size_t fitting = std::min(length, kSize - 2 - length_);
    std::memcpy(text_ + length_, text, fitting);
    length_ += fitting;
}

void LogLine::append(const char* text) {
    append(text, strnlen(text, kSize));
}

// Writes the time as "%09.3f" does, in any locale: to_chars rounds the same way.
void LogLine::appendTime(double time) {
    constexpr std::size_t kWidth = 9;
    char digits[32];
    const auto result =
        std::to_chars(digits, digits + sizeof digits, time, std::chars_format::fixed, 3);
    const auto length = static_cast<std::size_t>(result.ptr - digits);
    if (length < kWidth) {
        append("000000000", kWidth - length);
    }
    append(digits, length);
}

// A message may bring its own line break.
void LogLine::endLine() {
    if (length_ == 0 || text_[length_ - 1] != '\n') {
        text_[length_++] = '\n';
    }
    text_[length_] = '\0';
}

} // namespace core

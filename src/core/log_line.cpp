#include "core/log_line.h"

#include "core/library_log.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace core {

namespace {

// Prints a number as "%.3f" does and returns the end. to_chars rounds the same way, but takes six
// times as long for a real as for an integer. So only it prints what is about to be rounded up or
// down, where the product may mislead.
char* printThousandths(char (&out)[32], double number) {
    const double thousandths = number * 1000;
    const double whole = std::floor(thousandths);
    const double rest = thousandths - whole;
    const bool isPlain = number >= 0 && thousandths < 1e12 && std::abs(rest - 0.5) > 0.001;
    if (!isPlain) {
        return std::to_chars(out, std::end(out), number, std::chars_format::fixed, 3).ptr;
    }
    const auto rounded = static_cast<std::uint64_t>(whole) + (rest > 0.5 ? 1 : 0);
    char* end = std::to_chars(out, std::end(out), rounded / 1000).ptr;
    *end++ = '.';
    for (std::uint64_t unit = 100; unit != 0; unit /= 10) {
        *end++ = static_cast<char>('0' + rounded / unit % 10);
    }
    return end;
}

} // namespace

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

// Writes the time as "%09.3f" does, in any locale.
void LogLine::appendTime(double time) {
    constexpr std::size_t kWidth = 9;
    char digits[32];
    const auto length = static_cast<std::size_t>(printThousandths(digits, time) - digits);
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

#include "core/crash_text.h"

#include "platform/crash.h"
#include "platform/cut_text.h"

#include <algorithm>
#include <chrono>
#include <iterator>

namespace core {

namespace {

namespace code = platform::fault_code;
using std::chrono::days;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::sys_seconds;
using std::chrono::year_month_day;

struct Name {
    std::uint32_t code;
    const char* text;
};

constexpr Name kNames[] = {
    {code::kAccessViolation, "ACCESS_VIOLATION"},
    {code::kGuardPage, "GUARD_PAGE"},
    {code::kDatatypeMisalignment, "DATATYPE_MISALIGNMENT"},
    {code::kBreakpoint, "BREAKPOINT"},
    {code::kSingleStep, "SINGLE_STEP"},
    {code::kInPageError, "IN_PAGE_ERROR"},
    {code::kInvalidHandle, "INVALID_HANDLE"},
    {code::kIllegalInstruction, "ILLEGAL_INSTRUCTION"},
    {code::kNoncontinuable, "NONCONTINUABLE_EXCEPTION"},
    {code::kInvalidDisposition, "INVALID_DISPOSITION"},
    {code::kArrayBoundsExceeded, "ARRAY_BOUNDS_EXCEEDED"},
    {code::kFltDenormalOperand, "FLT_DENORMAL_OPERAND"},
    {code::kFltDivideByZero, "FLT_DIVIDE_BY_ZERO"},
    {code::kFltInexactResult, "FLT_INEXACT_RESULT"},
    {code::kFltInvalidOperation, "FLT_INVALID_OPERATION"},
    {code::kFltOverflow, "FLT_OVERFLOW"},
    {code::kFltStackCheck, "FLT_STACK_CHECK"},
    {code::kFltUnderflow, "FLT_UNDERFLOW"},
    {code::kIntDivideByZero, "INT_DIVIDE_BY_ZERO"},
    {code::kIntOverflow, "INT_OVERFLOW"},
    {code::kPrivInstruction, "PRIV_INSTRUCTION"},
    {code::kStackOverflow, "STACK_OVERFLOW"},
};

// For systems that have no texts for these codes.
constexpr Name kSpareNames[] = {
    {code::kAbort, "abort() was called"},
    {code::kInvalidSystemCall, "invalid system call"},
};

template<std::size_t count>
const char* find(const Name (&names)[count], std::uint32_t code) {
    const auto* found = std::find_if(std::begin(names), std::end(names),
                                     [code](const Name& name) { return name.code == code; });
    return found != std::end(names) ? found->text : nullptr;
}

bool isControl(char c) {
    return static_cast<unsigned char>(c) < ' ';
}

// -1 if a character is no digit.
int readNumber(std::string_view digits) {
    int value = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') {
            return -1;
        }
        value = value * 10 + (digit - '0');
    }
    return value;
}

} // namespace

CrashLine& CrashLine::add(std::string_view text) {
    const std::string_view kept =
        text.substr(0, platform::lengthToKeep(text, mostLength_ - length_));
    for (const char c : kept) {
        text_[length_++] = isControl(c) ? ' ' : c;
    }
    if (kept.size() < text.size()) {
        mostLength_ = length_;
    }
    return *this;
}

CrashLine& CrashLine::number(std::uint64_t value, unsigned base, unsigned digits) {
    char text[20];
    char* const end = std::end(text);
    char* begin = end;
    for (; value != 0 || end - begin < static_cast<std::ptrdiff_t>(digits); value /= base) {
        *--begin = "0123456789ABCDEF"[value % base];
    }
    return add({begin, static_cast<std::size_t>(end - begin)});
}

CrashLine& CrashLine::hex(std::uint64_t value, unsigned digits) {
    return number(value, 16, digits);
}

CrashLine& CrashLine::decimal(std::uint64_t value, unsigned digits) {
    return number(value, 10, digits);
}

CrashLine& CrashLine::end() {
    mostLength_ = length_;
    text_[length_++] = '\n';
    return *this;
}

// The calendar of the standard library is plain arithmetic, unlike the C library's.
void addTimeStamp(CrashLine& line, std::int64_t time) {
    const sys_seconds now{seconds(time)};
    const sys_days today = std::chrono::floor<days>(now);
    const year_month_day date(today);
    const std::chrono::hh_mm_ss clock(now - today);
    line.decimal(static_cast<std::uint64_t>(static_cast<int>(date.year())), 4)
        .decimal(static_cast<unsigned>(date.month()), 2)
        .decimal(static_cast<unsigned>(date.day()), 2)
        .add("-")
        .decimal(static_cast<std::uint64_t>(clock.hours().count()), 2)
        .decimal(static_cast<std::uint64_t>(clock.minutes().count()), 2)
        .decimal(static_cast<std::uint64_t>(clock.seconds().count()), 2);
}

std::int64_t readTimeStamp(std::string_view stamp) {
    if (stamp.size() != 15 || stamp[8] != '-') {
        return -1;
    }
    const int year = readNumber(stamp.substr(0, 4));
    const int month = readNumber(stamp.substr(4, 2));
    const int day = readNumber(stamp.substr(6, 2));
    const int hour = readNumber(stamp.substr(9, 2));
    const int minute = readNumber(stamp.substr(11, 2));
    const int second = readNumber(stamp.substr(13, 2));
    if (year < 1970 || month < 1 || day < 1 || hour < 0 || minute < 0 || second < 0) {
        return -1;
    }
    const year_month_day date(std::chrono::year(year),
                              std::chrono::month(static_cast<unsigned>(month)),
                              std::chrono::day(static_cast<unsigned>(day)));
    if (!date.ok()) {
        return -1;
    }
    const sys_seconds time =
        sys_days(date) + std::chrono::hours(hour) + std::chrono::minutes(minute) + seconds(second);
    return time.time_since_epoch().count();
}

void addLocation(CrashLine& line, const platform::ModulePlace& place,
                 const platform::SourcePlace& source) {
    line.hex(place.section, 4).add(":").hex(place.offset, 8).add(" ").add(place.module);
    if (source.symbol[0] != 0) {
        line.add(" ").add(source.symbol).add("()+").hex(source.displacement);
    }
    if (source.file[0] != 0) {
        line.add(" ").add(source.file).add(":").decimal(source.line);
    }
}

const char* faultName(std::uint32_t code) {
    if (const char* name = find(kNames, code)) {
        return name;
    }
    static char text[512];
    if (platform::faultText(code, text, sizeof text)) {
        return text;
    }
    const char* name = find(kSpareNames, code);
    return name != nullptr ? name : "unknown exception";
}

} // namespace core

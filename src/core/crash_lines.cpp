#include "core/crash_lines.h"

#include "core/crash_text.h"

#include <algorithm>

namespace core {

namespace {

constexpr std::string_view kBlanks = " \t\v\f\r\n";

int digitOf(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

void skipBlanks(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
}

bool take(std::string_view& text, std::string_view expected) {
    const bool isThere = text.substr(0, expected.size()) == expected;
    text.remove_prefix(isThere ? expected.size() : 0);
    return isThere;
}

// False without a digit, and for more than 16 digits.
bool takeHex(std::string_view& text, std::uint64_t& value) {
    constexpr std::size_t kMostDigits = 16;
    value = 0;
    std::size_t digits = 0;
    for (; digits < text.size() && digitOf(text[digits]) >= 0; ++digits) {
        value = value * 16 + static_cast<std::uint64_t>(digitOf(text[digits]));
    }
    text.remove_prefix(digits);
    return digits > 0 && digits <= kMostDigits;
}

// Like takeHex, for a number of 32 bits.
bool takeWord(std::string_view& text, std::uint32_t& word) {
    std::uint64_t value = 0;
    const bool fits = takeHex(text, value) && value <= UINT32_MAX;
    word = static_cast<std::uint32_t>(value);
    return fits;
}

// Reads a number as scanf's "%x" does: after any blanks, with or without "0x".
bool takeNumber(std::string_view& text, std::uint32_t& number) {
    skipBlanks(text);
    const bool hasPrefix = text.size() > 2 && text[0] == '0' &&
                           (text[1] == 'x' || text[1] == 'X') && digitOf(text[2]) >= 0;
    text.remove_prefix(hasPrefix ? 2 : 0);
    std::uint64_t value = 0;
    const bool isRead = takeHex(text, value);
    number = static_cast<std::uint32_t>(value);
    return isRead;
}

} // namespace

bool LineCursor::next(std::size_t limit, Line& line) {
    if (left_.empty()) {
        return false;
    }
    const std::size_t end = left_.find('\n');
    line.whole = left_.substr(0, end == std::string_view::npos ? left_.size() : end + 1);
    left_.remove_prefix(line.whole.size());
    line.text = line.whole.substr(0, end);
    if (!line.text.empty() && line.text.back() == '\r') {
        line.text.remove_suffix(1);
    }
    line.cut = line.text.substr(std::min(line.text.size(), limit - 1));
    line.text.remove_suffix(line.cut.size());
    return true;
}

bool parseFrame(std::string_view line, FrameLine& frame) {
    if (!takeNumber(line, frame.address) || !takeNumber(line, frame.frame)) {
        return false;
    }
    skipBlanks(line);
    frame.text = line;
    return true;
}

bool parseLocation(std::string_view text, LocatedText& location) {
    std::uint32_t section = 0;
    if (!takeWord(text, section) || !take(text, ":") || !takeWord(text, location.offset) ||
        (!text.empty() && !take(text, " "))) {
        return false;
    }
    location.section = section;
    location.rest = text;
    return true;
}

bool parseCause(std::string_view line, CauseLine& cause) {
    constexpr std::string_view kAt = " at ";
    const std::size_t at = line.rfind(kAt);
    if (line.empty() || line[0] != '#' || at == std::string_view::npos) {
        return false;
    }
    line.remove_prefix(at + kAt.size());
    std::uint32_t section = 0;
    const bool isRead = takeWord(line, cause.address) && take(line, " ") &&
                        takeWord(line, section) && take(line, ":") &&
                        takeWord(line, cause.offset) && line.empty();
    cause.section = section;
    return isRead;
}

std::int64_t parseTitle(std::string_view line) {
    constexpr std::string_view kRule = "--------------";
    constexpr std::size_t kStamp = 15;
    if (!take(line, "# ") || !take(line, kRule) || !take(line, " ") || line.size() < kStamp) {
        return -1;
    }
    const std::int64_t time = readTimeStamp(line.substr(0, kStamp));
    line.remove_prefix(kStamp);
    return take(line, " ") && line == kRule ? time : -1;
}

} // namespace core

#include "conf_mistake.h"

#include <charconv>
#include <system_error>

namespace {

// A character with which no token begins.
std::string explainCharacter(std::string_view rest, const std::string& file) {
    if (rest.starts_with("\xEF\xBB\xBF")) {
        return "the file begins with a byte-order mark; save it as UTF-8 without one";
    }
    if (rest.starts_with("\xFF\xFE") || rest.starts_with("\xFE\xFF")) {
        return "the file is UTF-16; save it as UTF-8 without a byte-order mark";
    }
    switch (rest.front()) {
    case '\n':
        return "this line ends in a line feed alone, not in CR LF; qz conf fix-eol " + file +
               " mends that, and --lf reads it as it is";
    case '\r':
        return "there is a carriage return without a line feed behind it";
    case '#':
        return "# begins no comment; write // in its place";
    case '\'':
    case '"':
        return "this quote, or one before it, is not closed";
    default:
        return "nothing begins with this character";
    }
}

// Quotes around more than one character: probably a text, or a quote that a later one closes.
std::string explainQuoted(std::string_view rest) {
    return rest.substr(0, rest.find('\'', 1)).find('\n') == std::string_view::npos
               ? "single quotes hold one character of one byte; a text stands in double quotes"
               : "this quote is not closed in its line";
}

// Whether the text ends in digits without a point before them.
bool endsInWholeNumber(std::string_view text) {
    const size_t digits = text.find_last_not_of("0123456789") + 1; // npos wraps to 0
    return digits < text.size() && (digits == 0 || text[digits - 1] != '.');
}

// Whether the text begins with a whole number, or one after a sign, that no int can hold.
bool beginsTooLarge(std::string_view text) {
    const char* const begin = text.data() + (text.starts_with('+') ? 1 : 0);
    const char* const end = text.data() + text.size();
    int value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value);
    return error == std::errc::result_out_of_range && (stop == end || *stop != '.');
}

// A token in the wrong place.
std::string explainToken(std::string_view before, std::string_view rest) {
    const char first = rest.empty() ? ' ' : rest.front();
    if ((first == 'e' || first == 'E') && endsInWholeNumber(before)) {
        return "a number with an exponent needs a point: 1.0e6";
    }
    if (first == '\'') {
        return explainQuoted(rest);
    }
    if (beginsTooLarge(rest)) {
        return "a whole number has 32 bits, so this one is too large";
    }
    if (rest.starts_with("//")) {
        return "this comment needs an end of line behind it";
    }
    if (rest.starts_with("/*")) {
        return "this comment is not closed";
    }
    return "this is not expected here";
}

} // namespace

std::string explainMistake(const ConfigParser::Error& error, std::string_view text, size_t offset,
                           const std::string& file) {
    if (error.message == "Error") {
        return explainToken(text.substr(0, offset), text.substr(offset));
    }
    if (error.message == "End Of File") {
        return "the file ends too early";
    }
    return error.message.empty() && offset < text.size()
               ? explainCharacter(text.substr(offset), file)
               : error.message;
}

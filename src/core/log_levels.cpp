#include "core/ascii.h"
#include "core/library_log.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>

namespace {

// A new level has its flag and its short name in Core/Log.h, and its line here.
constexpr qz_log_level kLevels[] = {
    {QZ_LOG_ALERT, "ALERT", "1;31"},
    {QZ_LOG_ERROR, "ERROR", "31"},
    {QZ_LOG_WARNING, "WARNING", "33"},
    {QZ_LOG_INFO, "INFO", "32"},
    {QZ_LOG_DEBUG, "DEBUG", "2"},
    {QZ_LOG_TRACE, "TRACE", "2"},
    {0, nullptr, nullptr},
};

std::optional<unsigned int> levelsOf(std::string_view word) {
    if (core::equalIgnoringCase(word, "ALL")) {
        return QZ_LOG_ALL;
    }
    if (core::equalIgnoringCase(word, "NONE")) {
        return 0;
    }
    for (const qz_log_level* level = kLevels; level->name != nullptr; ++level) {
        if (core::equalIgnoringCase(word, level->name)) {
            return level->flag;
        }
    }
    return std::nullopt;
}

// Takes the first word off the text; empty if there is none.
std::string_view takeWord(std::string_view& text) {
    constexpr std::string_view kBetween = " ,|";
    text.remove_prefix(std::min(text.find_first_not_of(kBetween), text.size()));
    const std::string_view word = text.substr(0, text.find_first_of(kBetween));
    text.remove_prefix(word.size());
    return word;
}

} // namespace

const qz_log_level* qz_log_levels(void) {
    return kLevels;
}

const char* qz_log_level_name(unsigned int level) {
    for (const qz_log_level* row = kLevels; row->name != nullptr; ++row) {
        if (row->flag == level) {
            return row->name;
        }
    }
    return "UNKNOWN";
}

int qz_log_parse_levels(const char* text, unsigned int* levels) {
    std::string_view rest = text != nullptr ? text : "";
    unsigned int sum = 0;
    std::string_view word = takeWord(rest);
    bool isKnown = !word.empty();
    for (; isKnown && !word.empty(); word = takeWord(rest)) {
        const std::optional<unsigned int> named = levelsOf(word);
        isKnown = named.has_value();
        sum |= named.value_or(0);
    }
    if (isKnown && levels != nullptr) {
        *levels = sum;
    }
    return isKnown ? 1 : 0;
}

// Texts about settings for messages.
#pragma once

#include "Config/ConfigParser.h"

#include <charconv>
#include <string>

namespace qz::config {

template<class Number>
std::string textOf(Number number) {
    char digits[32];
    return {digits, std::to_chars(digits, digits + sizeof digits, number).ptr};
}

template<class Number>
struct Range {
    Number least;
    Number most;

    bool has(Number number) const { return number >= least && number <= most; }
};

// Leaves out the limits that the variable's type has anyway.
template<class Number>
std::string describe(const std::string& kind, Range<Number> range, Range<Number> variable) {
    const bool hasLeast = range.least > variable.least;
    const bool hasMost = range.most < variable.most;
    if (hasLeast && hasMost) {
        return kind + " from " + textOf(range.least) + " to " + textOf(range.most);
    }
    if (hasLeast) {
        return kind + " of at least " + textOf(range.least);
    }
    return hasMost ? kind + " of at most " + textOf(range.most) : kind;
}

// What an entry is.
std::string describe(const ConfigParser::iterator& entry);

} // namespace qz::config

// What settings are, and are not, in messages for people.
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

// The limits of a variable go without saying.
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

// What stands there.
std::string describe(const ConfigParser::iterator& entry);

// Why the text that was parsed last could not be.
std::string describeFailure(const ConfigParser& config);

} // namespace qz::config

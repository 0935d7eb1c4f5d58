// Parses the arguments of a command.
#pragma once

#include "arguments.h"
#include "failure.h"

#include <charconv>
#include <string>

class CommandLine {
public:
    explicit CommandLine(const Arguments& arguments)
        : next_(arguments.begin()), end_(arguments.end()) {}

    bool isAtEnd() const { return next_ == end_; }
    const std::string& take() { return *next_++; }

    const std::string& valueOf(const std::string& option) {
        if (isAtEnd()) {
            throw UsageError(option + " wants a value");
        }
        return take();
    }

    // The whole value must be a number above 0.
    template<class Number>
    Number numberOf(const std::string& option) {
        const std::string& text = valueOf(option);
        Number value{};
        const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (problem != std::errc() || end != text.data() + text.size() || !(value > 0)) {
            throw UsageError(option + " wants a number above 0, not " + text);
        }
        return value;
    }

private:
    Arguments::const_iterator next_;
    Arguments::const_iterator end_;
};

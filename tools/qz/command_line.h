// Parses the arguments of a command.
#pragma once

#include "arguments.h"
#include "failure.h"

#include <charconv>
#include <string>

inline bool isHelp(const std::string& option) {
    return option == "--help" || option == "-h";
}

class CommandLine {
public:
    explicit CommandLine(const Arguments& arguments)
        : next_(arguments.begin()), end_(arguments.end()) {}

    // Takes a "--", behind which all is operands.
    bool isAtEnd() {
        if (!isPastOptions_ && next_ != end_ && *next_ == "--") {
            isPastOptions_ = true;
            ++next_;
        }
        return next_ == end_;
    }

    // To be called when isAtEnd() has returned false. Empty if an operand is next.
    std::string takeOption() {
        const bool isOption = !isPastOptions_ && next_->size() > 1 && next_->starts_with('-');
        return isOption ? take() : std::string();
    }
    const std::string& take() { return *next_++; }
    Arguments rest() const { return {next_, end_}; }

    [[noreturn]] static void refuse(const std::string& option) {
        throw UsageError("there is no option " + option);
    }

    const std::string& valueOf(const std::string& option) {
        if (next_ == end_) {
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
        if (problem == std::errc::result_out_of_range) {
            throw UsageError(option + " cannot be " + text);
        }
        if (problem != std::errc() || end != text.data() + text.size() || !(value > 0)) {
            throw UsageError(option + " wants a number above 0, not " + text);
        }
        return value;
    }

private:
    Arguments::const_iterator next_;
    Arguments::const_iterator end_;
    bool isPastOptions_ = false;
};

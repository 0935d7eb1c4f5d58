#include "Util/ConsoleArgs.h"

#include "util/numbers.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <set>
#include <string_view>
#include <utility>

namespace qz {

namespace {

constexpr int kWithValues = -1;

bool isOption(const std::string& token) {
    return token.starts_with('-');
}

std::vector<std::string> tokensOf(int count, const char* const* arguments) {
    std::vector<std::string> tokens;
    for (int i = 0; i < count; ++i) {
        const char* const argument = arguments != nullptr ? arguments[i] : nullptr;
        if (argument == nullptr || *argument == '\0') {
            throw InvalidConsoleArgsException("Failed to parse console arguments");
        }
        tokens.emplace_back(argument);
    }
    return tokens;
}

template<typename Number>
void parseOption(const char* type, const std::string& name, const std::string& value, Number& out) {
    if (!util::parse(value, out)) {
        throw InvalidConsoleArgsException("Failed to parse \"" + name + "\" " + type +
                                          " argument: \"" + value + "\"");
    }
}

} // namespace

ConsoleArgs::ConsoleArgs() : ConsoleArgs(std::vector<std::string>()) {}

ConsoleArgs::ConsoleArgs(int count, const char* const* arguments)
    : ConsoleArgs(tokensOf(count, arguments)) {}

ConsoleArgs::ConsoleArgs(const std::string& token) : ConsoleArgs(std::vector<std::string>{token}) {}

ConsoleArgs::ConsoleArgs(const std::string& first, const std::string& second)
    : ConsoleArgs(std::vector<std::string>{first, second}) {}

ConsoleArgs::ConsoleArgs(const std::string& first, const std::string& second,
                         const std::string& third)
    : ConsoleArgs(std::vector<std::string>{first, second, third}) {}

ConsoleArgs::ConsoleArgs(std::vector<std::string> tokens)
    : tokens_(std::make_move_iterator(tokens.begin()), std::make_move_iterator(tokens.end())) {
    init();
}

void ConsoleArgs::init() {
    options_.clear();
    std::vector<std::string>* values = &options_[""];
    for (const std::string& token : tokens_) {
        if (isOption(token)) {
            values = &options_[token];
        } else {
            values->push_back(token);
        }
    }
}

int ConsoleArgs::indexOf(const std::string& name) const {
    const auto found = std::ranges::find(tokens_, name);
    return found == tokens_.end() ? -1 : static_cast<int>(found - tokens_.begin());
}

bool ConsoleArgs::defined(const std::string& name) const {
    return indexOf(name) >= 0;
}

std::string ConsoleArgs::operator[](int index) const {
    if (index < 0 || static_cast<std::size_t>(index) >= tokens_.size()) {
        throw InvalidConsoleArgsException("Invalid console arguments");
    }
    return tokens_[static_cast<std::size_t>(index)];
}

std::string ConsoleArgs::operator[](const std::string& name) const {
    const auto found = options_.find(name);
    return found == options_.end() || found->second.empty() ? "" : found->second.front();
}

void ConsoleArgs::getOptionalString(const std::string& name, std::string& out) const {
    if (defined(name)) {
        out = (*this)[name];
    }
}

void ConsoleArgs::getOptionalInt(const std::string& name, int& out) const {
    getOptionalInt(name, out, out);
}

void ConsoleArgs::getOptionalInt(const std::string& name, int& out, int otherwise) const {
    if (defined(name)) {
        parseOption("integer", name, (*this)[name], out);
    } else {
        out = otherwise;
    }
}

void ConsoleArgs::getOptionalDouble(const std::string& name, double& out) const {
    getOptionalDouble(name, out, out);
}

void ConsoleArgs::getOptionalDouble(const std::string& name, double& out, double otherwise) const {
    if (defined(name)) {
        parseOption("double", name, (*this)[name], out);
    } else {
        out = otherwise;
    }
}

std::vector<std::string> ConsoleArgs::getAllValues(const std::string& name) const {
    const auto found = options_.find(name);
    return found == options_.end() ? std::vector<std::string>() : found->second;
}

std::vector<std::string> ConsoleArgs::getUnknown(const std::vector<std::string>& known) const {
    std::vector<std::string> unknown;
    std::set<std::string_view> seen(known.begin(), known.end());
    for (const std::string& token : tokens_) {
        if (isOption(token) && seen.insert(token).second) {
            unknown.push_back(token);
        }
    }
    return unknown;
}

void ConsoleArgs::pop() {
    if (!tokens_.empty()) {
        tokens_.pop_front();
    }
}

void ConsoleArgs::removeKey(const std::string& name, int count) {
    options_.erase(name);
    const auto begin = std::ranges::find(tokens_, name);
    if (begin == tokens_.end()) {
        return;
    }
    const auto end = count == kWithValues
                         ? std::find_if(begin + 1, tokens_.end(), isOption)
                         : begin + std::clamp<std::ptrdiff_t>(count, 0, tokens_.end() - begin);
    tokens_.erase(begin, end);
}

} // namespace qz

// Command lines, and the string and path helpers, on any text: no other exception than the stated
// one, no token lost or invented, and the properties of the results that the headers state.
#include "require.h"

#include "Util/ConsoleArgs.h"
#include "Util/Strings.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Tokens = std::vector<std::string>;

Tokens split(const std::string& text) {
    Tokens tokens(1);
    for (const char c : text) {
        if (c == '\n') {
            tokens.emplace_back();
        } else {
            tokens.back() += c;
        }
    }
    return tokens;
}

std::uint64_t valuesOf(const qz::ConsoleArgs& args, const Tokens& names) {
    Tokens seen{""};
    std::uint64_t count = args.getAllValues("").size();
    for (const std::string& name : names) {
        if (name.starts_with('-') && std::ranges::find(seen, name) == seen.end()) {
            count += args.getAllValues(name).size();
            seen.push_back(name);
        }
    }
    return count;
}

// False if the getter throws its stated exception; it must then leave the output unchanged.
template<class Number, class Get>
bool reads(Number& out, Get get) {
    const Number before = out;
    try {
        get();
        return true;
    } catch (const qz::InvalidConsoleArgsException& exception) {
        require(std::strstr(exception.what(), "Failed to parse \"") == exception.what());
        require(out == before);
        return false;
    }
}

void checkNumbers(const qz::ConsoleArgs& args, const std::string& name) {
    int integer = -77;
    double real = -77;
    const bool isInteger = reads(integer, [&] { args.getOptionalInt(name, integer); });
    const bool isReal = reads(real, [&] { args.getOptionalDouble(name, real); });
    require(std::isfinite(real));
    require(!isInteger || (isReal && real == integer));
}

void checkArguments(const std::string& text, int count) {
    const Tokens tokens = split(text);
    const qz::ConsoleArgs args(tokens);
    const auto options =
        std::ranges::count_if(tokens, [](const auto& token) { return token.starts_with('-'); });
    require(args.size() == tokens.size());
    require(valuesOf(args, tokens) + static_cast<std::uint64_t>(options) == tokens.size());
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        require(args[static_cast<int>(i)] == tokens[i]);
        require(args.indexOf(tokens[i]) <= static_cast<int>(i));
        checkNumbers(args, tokens[i]);
    }
    qz::ConsoleArgs less(args);
    less.removeKey(tokens.back(), count);
    less.pop();
    require(less.size() < args.size());
}

void checkVector(const std::string& text) {
    const Tokens tokens = split(text);
    std::vector<const char*> arguments;
    for (const std::string& token : tokens) {
        arguments.push_back(token.c_str());
    }
    const bool holdsEmpty = std::ranges::any_of(arguments, [](auto text) { return *text == 0; });
    try {
        const qz::ConsoleArgs args(static_cast<int>(arguments.size()), arguments.data());
        require(!holdsEmpty && args.size() == tokens.size());
    } catch (const qz::InvalidConsoleArgsException&) {
        require(holdsEmpty);
    }
}

void checkPaths(const std::string& path) {
    require(qz::extractFolder(path) + qz::extractFileName(path) == path);
    const std::string name = qz::extractFileNameNoExt(path);
    require(qz::extractFileName(path).starts_with(name));
    require(path.starts_with(qz::removeExtension(path)));
    require(path.ends_with(qz::extractExtension(path)));
    const std::string completed = qz::completePathWithSlash(path);
    require(qz::completePathWithSlash(completed) == completed);
    require(completed.empty() || qz::extractFileName(completed).empty());

    std::string normal = "old";
    qz::normalizePath(path, normal);
    require(normal.find('\\') == std::string::npos && normal.find("//") == std::string::npos);
    require(normal.find("/./") == std::string::npos && normal.size() <= path.size());
    std::string inPlace = path;
    qz::normalizePath(inPlace, inPlace);
    require(inPlace == normal);
}

// Bit groups of three-byte characters are read in reverse order, so mapping a text twice does not
// restore it. In the locale "C" only ASCII letters change.
void checkText(const std::string& text) {
    const std::string lower = qz::toLower(text), upper = qz::toUpper(text);
    require(lower.size() <= 3 * text.size() && upper.size() == lower.size());
    require(lower.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string::npos);
    const std::string solid = qz::removeWhiteSpaces(text);
    require(solid.find_first_of(" \t\n\v\f\r") == std::string::npos);
    require(qz::removeWhiteSpaces(solid) == solid);
}

} // namespace

// The input: a count to remove, and tokens between line breaks; all tokens together are the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
    if (length == 0) {
        return 0;
    }
    const std::string text(reinterpret_cast<const char*>(data + 1), length - 1);
    checkArguments(text, static_cast<std::int8_t>(data[0]));
    checkVector(text);
    checkPaths(text);
    checkText(text);
    return 0;
}

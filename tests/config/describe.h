// A tree as one line of text for tests to compare: {name:value, ...}; list items have no name.
#pragma once

#include "Config/ConfigParser.h"
#include "support/test.h"

namespace qz::test {

inline std::string describe(const ConfigParser::iterator& begin);

inline std::string describeValue(const ConfigParser::iterator& entry) {
    char number[32];
    switch (entry.getType()) {
    case ConfigParser::iterator::kBlock:
        return "{" + describe(entry.begin()) + "}";
    case ConfigParser::iterator::kInteger:
        return std::to_string(entry.getInt());
    case ConfigParser::iterator::kReal:
        std::snprintf(number, sizeof number, "%.10gr", entry.getDouble());
        return number;
    case ConfigParser::iterator::kString:
        return "\"" + entry.getString() + "\"";
    case ConfigParser::iterator::kList:
        return "[" + describe(entry.begin()) + "]";
    default:
        return "?";
    }
}

inline std::string describe(const ConfigParser::iterator& begin) {
    std::string text;
    for (ConfigParser::iterator entry = begin; !entry.isEnd(); ++entry) {
        text += entry.name() + (entry.name().empty() ? "" : ":") + describeValue(entry);
        text += entry.isLast() ? "" : ", ";
    }
    return text;
}

using Save = bool (ConfigParser::*)(char**, int&);

// The text that save, or saveEdited, makes of the tree, without the terminator; "failed" if it
// fails.
inline std::string saved(ConfigParser& parser, Save save = &ConfigParser::save) {
    char* buffer = nullptr;
    int length = 0;
    if (!(parser.*save)(&buffer, length)) {
        return "failed";
    }
    const std::unique_ptr<char[]> owned(buffer);
    EXPECT_EQ(buffer[length - 1], 0);
    return {buffer, static_cast<std::size_t>(length) - 1};
}

// Parses a text in memory by its whole length, zero bytes included.
inline bool parse(ConfigParser& parser, const std::string& text) {
    return parser.parse(text.c_str(), static_cast<int>(text.size()));
}

// Saves a text's tree.
inline bool save(const fs::path& file, const std::string& text = "a = 1;") {
    ConfigParser parser;
    return parse(parser, text) && parser.save(file.string());
}

// What a text parses to, or how it fails: "message@column line N".
inline std::string parsed(const std::string& text) {
    ConfigParser parser;
    if (parse(parser, text)) {
        return describe(parser.begin());
    }
    ConfigParser::Error error;
    parser.getLastError(error);
    const std::string left = describe(parser.begin());
    return error.message + "@" + std::to_string(error.column) + " line " +
           std::to_string(error.line) + left;
}

} // namespace qz::test

#include "config/setting_words.h"

namespace qz::config {

std::string describe(const ConfigParser::iterator& entry) {
    switch (entry.getType()) {
    case ConfigParser::iterator::kInteger:
        return textOf(entry.getInt());
    case ConfigParser::iterator::kReal:
        return textOf(entry.getDouble());
    case ConfigParser::iterator::kString:
        return "a text";
    case ConfigParser::iterator::kList:
        return "a list";
    default:
        return "a block";
    }
}

std::string describe(const ConfigParser::Error& error) {
    if (error.column < 0) {
        return error.message == "End Of File" ? "the file ends too early"
               : error.message.empty()        ? "cannot be read"
                                              : error.message;
    }
    const std::string problem =
        error.message.empty() ? "nothing begins with the character" : "unexpected text";
    return problem + " at offset " + textOf(error.column) + "; \"qz conf check\" shows the spot";
}

} // namespace qz::config

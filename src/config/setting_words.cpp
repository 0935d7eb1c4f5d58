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

std::string describeFailure(const ConfigParser& config) {
    ConfigParser::Error error;
    config.getLastError(error);
    if (error.column < 0) {
        return error.message == "End Of File" ? "the file ends too early"
               : error.message.empty()        ? "cannot be read"
                                              : error.message;
    }
    const std::string offset = " at offset " + textOf(error.column);
    if (config.isErrorLineFeed()) {
        return "a line ends in a line feed alone, not in CR LF," + offset +
               "; \"qz conf fix-eol\" mends that";
    }
    const std::string problem =
        error.message.empty() ? "nothing begins with the character" : "unexpected text";
    return problem + offset + "; \"qz conf check\" shows the spot";
}

} // namespace qz::config

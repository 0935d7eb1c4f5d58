#include "config/error_text.h"

#include "platform/files.h"

namespace qz::config {

std::string withReason(const std::string& problem, platform::SystemError error) {
    if (error == 0) {
        return problem;
    }
    char reason[256];
    platform::systemErrorText(error, reason, sizeof reason);
    return problem + ": " + reason;
}

std::string describeFailure(const ConfigParser::Error& error, bool isLineFeed) {
    if (error.column < 0) {
        return error.message == "End Of File" ? "the file ends too early" : error.message;
    }
    const std::string offset = " at offset " + std::to_string(error.column);
    if (isLineFeed) {
        return "a line ends in a line feed alone, not in CR LF," + offset +
               "; \"qz conf fix-eol\" mends that";
    }
    const std::string problem =
        error.message.empty() ? "nothing begins with the character" : "unexpected text";
    return problem + offset + "; \"qz conf check\" shows the spot";
}

} // namespace qz::config

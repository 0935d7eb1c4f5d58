#include "platform/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace platform {

void useBinaryStreams() {}

bool isTerminal(std::FILE* stream) {
    return isatty(fileno(stream)) != 0;
}

std::optional<TerminalSize> terminalSize(std::FILE* stream) {
    winsize size{};
    if (ioctl(fileno(stream), TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return std::nullopt;
    }
    return TerminalSize{size.ws_col, size.ws_row};
}

bool writeCharacters(std::FILE*, std::string_view) {
    return false;
}

std::vector<std::string> matchingFiles(const std::string& pattern) {
    return {pattern};
}

} // namespace platform

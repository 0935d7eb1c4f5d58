#include "platform/terminal.h"

#include <unistd.h>

namespace platform {

void useBinaryStreams() {}

bool isTerminal(std::FILE* stream) {
    return isatty(fileno(stream)) != 0;
}

bool writeCharacters(std::FILE*, std::string_view) {
    return false;
}

std::vector<std::string> matchingFiles(const std::string& pattern) {
    return {pattern};
}

} // namespace platform

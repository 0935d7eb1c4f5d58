// What a command-line program needs of the terminal it was started from. Texts are UTF-8.
#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// Has standard output and standard error take bytes as they are, line ends included.
void useBinaryStreams();

bool isTerminal(std::FILE* stream);

struct TerminalSize {
    std::size_t columns;
    std::size_t rows;

    bool operator==(const TerminalSize&) const = default;
};

// Of what a terminal shows at once; nothing if the stream is none, or the terminal does not know.
std::optional<TerminalSize> terminalSize(std::FILE* stream);

// Writes to a terminal that takes characters in place of bytes; false if the stream is none.
bool writeCharacters(std::FILE* stream, std::string_view text);

// The files that a pattern with wildcards names, sorted, where shells leave that to programs; else,
// and if there is none, the pattern.
std::vector<std::string> matchingFiles(const std::string& pattern);

} // namespace platform

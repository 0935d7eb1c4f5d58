// What a command-line program needs of its terminal. Texts are UTF-8.
#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// Has standard output and standard error write bytes as they are, line ends included.
void useBinaryStreams();

bool isTerminal(std::FILE* stream);

struct TerminalSize {
    std::size_t columns;
    std::size_t rows;

    bool operator==(const TerminalSize&) const = default;
};

// The size of the visible part; nothing if the stream is no terminal or the terminal does not tell.
std::optional<TerminalSize> terminalSize(std::FILE* stream);

// Writes to a terminal that takes characters, not bytes; false if the stream is none.
bool writeCharacters(std::FILE* stream, std::string_view text);

// The files that a pattern with wildcards names, sorted, on a system whose shells do not expand
// patterns. Elsewhere, and if no file matches, the pattern itself.
std::vector<std::string> matchingFiles(const std::string& pattern);

} // namespace platform

#include "platform/terminal.h"

#include "platform/win32/wide.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <algorithm>

namespace platform {

namespace {

HANDLE handleOf(std::FILE* stream) {
    return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
}

std::wstring wide(const std::string& text) {
    std::wstring result(text.size() + 1, L'\0');
    result.resize(toWideForDisplay(text.c_str(), result.data(), result.size()));
    return result;
}

} // namespace

void useBinaryStreams() {
    for (std::FILE* stream : {stdout, stderr}) {
        _setmode(_fileno(stream), _O_BINARY);
    }
}

bool isTerminal(std::FILE* stream) {
    return _isatty(_fileno(stream)) != 0;
}

std::optional<TerminalSize> terminalSize(std::FILE* stream) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(handleOf(stream), &info)) {
        return std::nullopt;
    }
    const SMALL_RECT& window = info.srWindow;
    return TerminalSize{static_cast<std::size_t>(window.Right - window.Left + 1),
                        static_cast<std::size_t>(window.Bottom - window.Top + 1)};
}

bool writeCharacters(std::FILE* stream, std::string_view text) {
    DWORD mode = 0;
    if (!GetConsoleMode(handleOf(stream), &mode)) {
        return false;
    }
    std::fflush(stream);
    // On older systems a call takes only some 30 000 units.
    constexpr std::size_t kMost = 8192;
    const std::wstring units = wide(std::string(text));
    for (std::size_t done = 0; done < units.size();) {
        const auto count = static_cast<DWORD>(std::min(units.size() - done, kMost));
        DWORD written = 0;
        if (!WriteConsoleW(handleOf(stream), units.data() + done, count, &written, nullptr) ||
            written == 0) {
            break;
        }
        done += written;
    }
    return true;
}

std::vector<std::string> matchingFiles(const std::string& pattern) {
    std::vector<std::string> names;
    WIN32_FIND_DATAW found;
    const HANDLE search = pattern.find_first_of("*?") != std::string::npos
                              ? FindFirstFileW(wide(pattern).c_str(), &found)
                              : INVALID_HANDLE_VALUE;
    if (search == INVALID_HANDLE_VALUE) {
        return {pattern};
    }
    const std::string folder = pattern.substr(0, pattern.find_last_of("/\\:") + 1);
    do {
        char name[MAX_PATH * 3 + 1];
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0 &&
            fromWide(found.cFileName, name, sizeof name)) {
            names.push_back(folder + name);
        }
    } while (FindNextFileW(search, &found));
    FindClose(search);
    if (names.empty()) {
        return {pattern};
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace platform

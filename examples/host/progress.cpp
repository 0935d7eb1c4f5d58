#include "progress.h"

#include <cstdio>
#include <unistd.h> // isatty; mingw-w64 has it too

namespace {

constexpr int kBarWidth = 24;
constexpr int kTextWidth = 40;

int toPercent(double fraction) {
    if (!(fraction > 0)) {
        return 0;
    }
    return fraction < 1 ? static_cast<int>(fraction * 100) : 100;
}

} // namespace

Progress::Progress(int lines) : terminal_(isatty(STDOUT_FILENO) != 0), lines_(lines) {}

void Progress::report(double fraction, const char* text) noexcept {
    const int percent = toPercent(fraction);
    if (terminal_) {
        update(percent, text);
    } else {
        append(percent, text);
    }
    std::fflush(stdout);
}

/* Leaves the cursor at the start of the line, so that a line echoed by the log replaces this one
 * instead of following it. */
void Progress::update(int percent, const char* text) noexcept {
    static constexpr char kFull[] = "########################";
    static_assert(sizeof kFull == kBarWidth + 1);
    std::printf("[%-*.*s] %3d %%  %-*.*s\r", kBarWidth, percent * kBarWidth / 100, kFull, percent,
                kTextWidth, kTextWidth, text);
    lineShown_ = true;
}

void Progress::append(int percent, const char* text) noexcept {
    const int line = percent * lines_ / 100;
    if (line > lastLine_) {
        lastLine_ = line;
        std::printf("%3d %%  %s\n", percent, text);
    }
}

void Progress::clear() noexcept {
    if (lineShown_) {
        std::printf("%*s\r", kBarWidth + kTextWidth + 11, "");
        std::fflush(stdout);
        lineShown_ = false;
    }
}

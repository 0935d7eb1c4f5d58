#include "conf_commands.h"
#include "conf_file.h"
#include "failure.h"
#include "terminal.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr size_t kShownWidth = 100;

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80;
}

// A piece of the line around the spot; what a terminal would take as a command becomes a dot.
struct Excerpt {
    explicit Excerpt(const Mistake& mistake) {
        const size_t begin =
            mistake.column > kShownWidth / 2 ? mistake.column - kShownWidth / 2 : 0;
        text = mistake.text.substr(begin, kShownWidth);
        std::ranges::replace_if(
            text, [](unsigned char c) { return c < ' ' || c == 0x7F; }, '.');
        const auto spot = text.begin() + static_cast<std::ptrdiff_t>(mistake.column - begin);
        indent = static_cast<size_t>(
            std::count_if(text.begin(), spot, [](char c) { return !isContinuation(c); }));
    }

    std::string text;
    size_t indent; // characters in front of the spot
};

void explain(const std::string& file, const Mistake& mistake) {
    const Excerpt excerpt(mistake);
    printError(file + ":" + std::to_string(mistake.line) + ": " + red(stderr, "error:") + " " +
               mistake.message + ", at offset " + std::to_string(mistake.offset) + "\n    " +
               excerpt.text + "\n    " + std::string(excerpt.indent, ' ') + green(stderr, "^") +
               "\n");
}

bool isConfiguration(const std::string& file, const ConfOptions& options) {
    try {
        Mistake mistake;
        if (ConfFile(file, options.bareLineFeeds).parse(mistake)) {
            return true;
        }
        explain(file, mistake);
    } catch (const Failure& failure) { // one missing file does not keep the others from being read
        complain(failure.what());
    }
    return false;
}

} // namespace

int confCheck(const std::vector<std::string>& files, const ConfOptions& options) {
    const auto bad = std::ranges::count_if(
        files, [&](const std::string& file) { return !isConfiguration(file, options); });
    return bad == 0 ? 0 : 1;
}

#include "conf_commands.h"
#include "conf_file.h"
#include "failure.h"
#include "printable.h"
#include "terminal.h"

#include "platform/utf8_sequence.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr size_t kShownWidth = 100;

// A piece of the line around the mistake, of whole characters, printed by `shown`. Tabs become
// blanks.
struct Excerpt {
    explicit Excerpt(const Mistake& mistake) {
        size_t begin = mistake.column > kShownWidth / 2 ? mistake.column - kShownWidth / 2 : 0;
        size_t end = std::min(begin + kShownWidth, mistake.text.size());
        while (begin < mistake.column && platform::isContinuation(mistake.text[begin])) {
            ++begin;
        }
        while (end < mistake.text.size() && end > mistake.column &&
               platform::isContinuation(mistake.text[end])) {
            --end;
        }
        std::string piece = mistake.text.substr(begin, end - begin);
        std::ranges::replace(piece, '\t', ' ');
        text = shown(piece);
        indent = columnsOf(shown(piece.substr(0, mistake.column - begin)));
    }

    std::string text;
    size_t indent; // columns before the mistake
};

void explain(const std::string& file, const std::string& kind, const Mistake& mistake) {
    const Excerpt excerpt(mistake);
    printError(shown(file) + ":" + std::to_string(mistake.line) + ": " + red(stderr, kind) + " " +
               shown(mistake.message) + ", at offset " + std::to_string(mistake.offset) + "\n    " +
               excerpt.text + "\n    " + std::string(excerpt.indent, ' ') + green(stderr, "^") +
               "\n");
}

bool isConfiguration(const std::string& name, const ConfOptions& options) {
    try {
        Mistake mistake;
        ConfFile file(name, options.bareLineFeeds);
        if (!file.parse(mistake)) {
            explain(name, "error:", mistake);
            return false;
        }
        if (file.hasCommentThatGoesOn(mistake)) {
            explain(name, "warning:", mistake);
        }
        return true;
    } catch (const Failure& failure) { // one missing file does not keep the others from being read
        complain(failure.what());
        return false;
    }
}

} // namespace

int confCheck(const std::vector<std::string>& files, const ConfOptions& options) {
    const auto bad = std::ranges::count_if(
        files, [&](const std::string& file) { return !isConfiguration(file, options); });
    return bad == 0 ? 0 : 1;
}

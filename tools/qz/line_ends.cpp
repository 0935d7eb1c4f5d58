#include "line_ends.h"

#include <algorithm>

namespace {

constexpr size_t kNone = std::string_view::npos;
constexpr std::string_view kLineEnd = "\r\n";

using Lines = std::vector<std::string_view>; // with their ends

// Walks over a text, its comments and quoted texts.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {}

    std::vector<BareLineFeed> scan() {
        while (at_ < text_.size()) {
            const char c = text_[at_];
            if (c == '"' || c == '\'') {
                skipQuoted(c);
            } else if (text_.substr(at_, 2) == "//") {
                passTo(std::min(text_.find('\n', at_), text_.size()));
                pass(true);
            } else if (text_.substr(at_, 2) == "/*") {
                skipBlockComment();
            } else {
                pass(false);
            }
        }
        return std::move(found_);
    }

private:
    // Goes behind the closing quote. The parser reports a quote that is not closed.
    void skipQuoted(char quote) {
        size_t end = at_ + 1;
        while (end < text_.size() && text_[end] != quote) {
            const bool isEscape = text_[end] == '\\' && end + 1 < text_.size() &&
                                  (text_[end + 1] == quote || text_[end + 1] == '\\');
            end += isEscape ? 2 : 1;
        }
        at_ = end + 1;
    }

    void skipBlockComment() {
        const size_t close = text_.find("*/", at_ + 2);
        passTo(close == kNone ? text_.size() : close + 2);
    }

    void passTo(size_t end) {
        while (at_ < end) {
            pass(false);
        }
    }

    void pass(bool isInLineComment) {
        if (at_ < text_.size() && text_[at_] == '\n' && (at_ == 0 || text_[at_ - 1] != '\r')) {
            found_.push_back({at_, isInLineComment});
        }
        ++at_;
    }

    std::string_view text_;
    size_t at_ = 0;
    std::vector<BareLineFeed> found_;
};

// How many characters two texts have in common from where the iterators are.
template<class Left, class Right>
size_t inCommon(Left left, Left leftEnd, Right right, Right rightEnd) {
    return static_cast<size_t>(std::mismatch(left, leftEnd, right, rightEnd).first - left);
}

size_t beginOfLine(std::string_view text, size_t at) {
    const size_t end = text.substr(0, at).rfind(kLineEnd);
    return end == kNone ? 0 : end + kLineEnd.size();
}

size_t endOfLine(std::string_view text, size_t at) {
    const size_t end = text.find(kLineEnd, at);
    return end == kNone ? text.size() : end + kLineEnd.size();
}

Lines linesIn(std::string_view text) {
    Lines lines;
    while (!text.empty()) {
        lines.push_back(text.substr(0, endOfLine(text, 0)));
        text.remove_prefix(lines.back().size());
    }
    return lines;
}

} // namespace

std::vector<BareLineFeed> bareLineFeeds(std::string_view text) {
    return Scanner(text).scan();
}

CompletedLines::CompletedLines(std::string_view file, bool isToComplete) {
    size_t done = 0;
    for (const BareLineFeed& found :
         isToComplete ? bareLineFeeds(file) : std::vector<BareLineFeed>()) {
        text_ += file.substr(done, found.offset - done);
        added_.push_back(text_.size());
        text_ += '\r';
        done = found.offset;
    }
    text_ += file.substr(done);
}

size_t CompletedLines::inFile(size_t offset) const {
    const auto before = std::lower_bound(added_.begin(), added_.end(), offset) - added_.begin();
    return offset - static_cast<size_t>(before);
}

std::string CompletedLines::restored(std::string_view changed) const {
    const size_t before = inCommon(text_.begin(), text_.end(), changed.begin(), changed.end());
    const size_t behind =
        inCommon(text_.rbegin(), text_.rend() - static_cast<ptrdiff_t>(before), changed.rbegin(),
                 changed.rend() - static_cast<ptrdiff_t>(before));
    const size_t from = beginOfLine(text_, before);
    const size_t to = endOfLine(text_, text_.size() - behind);
    const Lines lines = linesIn(changed.substr(from, changed.size() - from - (text_.size() - to)));
    const Lines old = linesIn(std::string_view(text_).substr(from, to - from));
    std::string result = fileOf(0, from);
    auto next = old.begin();
    for (const std::string_view line : lines) {
        auto same = std::find(next, old.end(), line);
        if (same == old.end() && next != old.end() && !std::ranges::count(lines, *next)) {
            same = next; // this line was changed
        }
        if (!line.ends_with(kLineEnd)) {
            result += line;
        } else {
            result += line.substr(0, line.size() - kLineEnd.size());
            result += same != old.end() && same->ends_with(kLineEnd) ? endInFile(*same) : "\n";
        }
        next = same == old.end() ? next : same + 1;
    }
    return result + fileOf(to, text_.size());
}

// Of a line of the text.
std::string CompletedLines::endInFile(std::string_view line) const {
    const auto end = static_cast<size_t>(line.data() + line.size() - text_.data());
    return fileOf(end - kLineEnd.size(), end);
}

std::string CompletedLines::fileOf(size_t from, size_t to) const {
    std::string part;
    for (auto next = std::lower_bound(added_.begin(), added_.end(), from);
         next != added_.end() && *next < to; ++next) {
        part.append(text_, from, *next - from);
        from = *next + 1;
    }
    return part.append(text_, from, to - from);
}

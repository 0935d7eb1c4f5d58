#include "line_ends.h"

#include <algorithm>

namespace {

constexpr size_t kNone = std::string_view::npos;

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
    std::string result = fileOf(0, before);
    const size_t end = changed.size() - behind;
    for (size_t at = before; at < end; ++at) {
        if (changed.substr(at, 2) != "\r\n") {
            result += changed[at];
        }
    }
    return result + fileOf(text_.size() - behind, text_.size());
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

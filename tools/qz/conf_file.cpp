#include "conf_file.h"

#include "conf_mistake.h"
#include "input.h"
#include "terminal.h"

#include "platform/file.h"
#include "platform/save_turn.h"
#include "platform/whole_file.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <utility>

namespace {

constexpr size_t kMostBytes = std::numeric_limits<int>::max();

// Only ordinary files can be replaced, not files on which reading may wait, such as pipes.
void requireOrdinary(const std::string& name) {
    const platform::File file = platform::File::waiting(name.c_str());
    if (!file.isOpen()) {
        throw Failure(
            name + ": is no ordinary file that can be replaced: " + reasonOf(file.error(), name));
    }
}

// The parser's text, saved into a buffer by `save` or `saveEdited`.
std::string saved(const std::string& name, ConfigParser& parser,
                  bool (ConfigParser::*save)(char**, int&)) {
    char* buffer = nullptr;
    int length = 0;
    if (!(parser.*save)(&buffer, length)) {
        throw Failure(name + ": cannot be written: " + parser.getSaveText());
    }
    const std::unique_ptr<char[]> owner(buffer);
    return {buffer, static_cast<size_t>(length) - 1}; // without the terminator
}

} // namespace

std::string FileToChange::read() {
    bytes_ = readWhole(name_);
    return bytes_;
}

void FileToChange::replace(const std::string& text) const {
    if (name_ == kStandardStreams) {
        print(text);
        return;
    }
    constexpr std::chrono::seconds kLongestWait{10};
    const platform::SaveTurn turn(name_.c_str(), kLongestWait);
    if (!turn.isMine()) {
        throw Failure(name_ + ": other programs keep it locked");
    }
    requireOrdinary(name_);
    if (readWhole(name_) != bytes_) {
        throw ChangedMeanwhile(name_ + ": somebody else is changing it; nothing was written");
    }
    const platform::Replacement replacement = platform::replaceContents(name_.c_str(), text);
    if (!replacement) {
        throw Failure(name_ + ": cannot be replaced: " + reasonOf(replacement.error, name_));
    }
}

ConfFile::ConfFile(const std::string& name, bool bareLineFeeds)
    : file_(name), bareLineFeeds_(bareLineFeeds), lines_(file_.read(), bareLineFeeds) {
    if (text().size() > kMostBytes) {
        throw Failure(name + ": has more than 2 GiB");
    }
}

bool ConfFile::parse(Mistake& mistake) {
    // A length of 0 would mean "up to the terminator", which is the same here.
    if (parser_.parse(text().c_str(), static_cast<int>(text().size()))) {
        return true;
    }
    ConfigParser::Error error;
    parser_.getLastError(error);
    const size_t at = error.column < 0 ? text().size() : static_cast<size_t>(error.column);
    mistake = locate(at);
    mistake.message = explainMistake(error, text(), at, name());
    return false;
}

void ConfFile::parse() {
    Mistake mistake;
    if (!parse(mistake)) {
        throw Failure(name() + ":" + std::to_string(mistake.line) + ": " + mistake.message);
    }
}

bool ConfFile::hasCommentThatGoesOn(Mistake& mistake) const {
    const std::vector<BareLineFeed> found =
        bareLineFeeds_ ? std::vector<BareLineFeed>() : bareLineFeeds(text());
    const auto first = std::ranges::find_if(found, &BareLineFeed::endsComment);
    if (first == found.end()) {
        return false;
    }
    mistake = locate(first->offset);
    mistake.message = "this line ends in a line feed alone, not in CR LF, so that the comment goes "
                      "on in the next line; qz conf fix-eol " +
                      name() + " mends that";
    return true;
}

// Counts lines itself, because for a text in memory the parser tells only the offset of some
// mistakes.
Mistake ConfFile::locate(size_t at) const {
    const std::string before = text().substr(0, at);
    const size_t begin = before.find_last_of("\r\n") + 1; // npos wraps to 0
    Mistake mistake;
    mistake.line = 1;
    for (size_t i = 0; i < at; ++i) {
        const bool pair = text()[i] == '\r' && i + 1 < text().size() && text()[i + 1] == '\n';
        mistake.line += (text()[i] == '\n' || (text()[i] == '\r' && !pair)) ? 1U : 0U;
    }
    mistake.offset = lines_.inFile(at);
    mistake.text = text().substr(begin, text().find_first_of("\r\n", at) - begin);
    mistake.column = at - begin;
    return mistake;
}

std::string ConfFile::formatted() {
    // `save` ends the lines of a buffer in bare line feeds, and escapes line feeds in texts.
    const std::string text = saved(name(), parser_, &ConfigParser::save);
    return bareLineFeeds_ ? text : CompletedLines(text).text();
}

void ConfFile::writeFormatted() {
    file_.replace(formatted());
}

void ConfFile::writeEdited() {
    const std::string text = saved(name(), parser_, &ConfigParser::saveEdited);
    file_.replace(bareLineFeeds_ ? lines_.restored(text) : text);
}

#include "conf_file.h"

#include "conf_mistake.h"
#include "terminal.h"

#include "platform/input.h"
#include "platform/save_turn.h"
#include "platform/whole_file.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <memory>
#include <utility>

namespace {

constexpr char kStandardStreams[] = "-";
constexpr size_t kMostBytes = std::numeric_limits<int>::max();

std::filesystem::file_type typeOf(const std::string& name) {
    std::error_code ignored;
    return std::filesystem::status(std::u8string(name.begin(), name.end()), ignored).type();
}

// Why a file could not be read or replaced, in its own words where the system's are riddles.
std::string reason(const std::string& name, platform::SystemError error) {
    using Type = std::filesystem::file_type;
    const Type type = typeOf(name);
    if (type == Type::not_found) {
        return "there is no such file";
    }
    if (type == Type::directory) {
        return "is a directory";
    }
    char text[256];
    platform::systemErrorText(error, text, sizeof text);
    return text;
}

std::string readNow(const std::string& name) {
    std::string bytes;
    const platform::SystemError error = name == kStandardStreams
                                            ? platform::readStandardInput(bytes)
                                            : platform::readPath(name.c_str(), bytes);
    if (error != 0) {
        throw Failure(name + ": cannot be read: " + reason(name, error));
    }
    if (bytes.size() > kMostBytes) {
        throw Failure(name + ": has more than 2 GiB");
    }
    return bytes;
}

bool isOrdinary(const std::string& name) {
    return typeOf(name) == std::filesystem::file_type::regular;
}

// Windows replaces no file that somebody else is reading.
std::string readInTurn(const std::string& name) {
    if (!isOrdinary(name)) {
        return readNow(name); // it may keep us waiting
    }
    const platform::SaveTurn turn(name.c_str());
    return readNow(name);
}

// What the parser saves into a buffer. `save` is one of its two ways to do it.
template<class Save>
std::string saved(const std::string& name, Save save) {
    char* buffer = nullptr;
    int length = 0;
    if (!save(&buffer, length)) {
        throw Failure(name + ": holds what no file can: an empty block or list, a real that is "
                             "not finite, or a name that is no identifier");
    }
    const std::unique_ptr<char[]> owner(buffer);
    return {buffer, static_cast<size_t>(length) - 1}; // without the terminator
}

} // namespace

std::string FileToChange::read() {
    bytes_ = readInTurn(name_);
    return bytes_;
}

void FileToChange::replace(const std::string& text) const {
    if (name_ == kStandardStreams) {
        print(text);
        return;
    }
    if (!isOrdinary(name_)) {
        throw Failure(name_ + ": is no ordinary file and cannot be replaced");
    }
    const platform::SaveTurn turn(name_.c_str());
    if (!turn.isMine()) {
        throw Failure(name_ + ": other programs are saving in the same directory all the time");
    }
    if (readNow(name_) != bytes_) {
        throw ChangedMeanwhile(name_ + ": somebody else is changing it; nothing was written");
    }
    const platform::Replacement replacement = platform::replaceContents(name_.c_str(), text);
    if (!replacement) {
        throw Failure(name_ + ": cannot be replaced: " + reason(name_, replacement.error));
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

// Lines are counted here: in memory the parser knows the offset of some mistakes only.
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
    // The parser ends the lines of a buffer in bare line feeds, and escapes those of contents.
    const std::string text =
        saved(name(), [this](char** buffer, int& length) { return parser_.save(buffer, length); });
    return bareLineFeeds_ ? text : CompletedLines(text).text();
}

void ConfFile::writeFormatted() {
    file_.replace(formatted());
}

void ConfFile::writeEdited() {
    const std::string text = saved(
        name(), [this](char** buffer, int& length) { return parser_.saveEdited(buffer, length); });
    file_.replace(bareLineFeeds_ ? lines_.restored(text) : text);
}

#include "conf_file.h"

#include "failure.h"

#include "VFS/File.h"
#include "platform/save_turn.h"
#include "platform/whole_file.h"

#include <algorithm>
#include <limits>
#include <memory>

namespace {

struct Closer {
    void operator()(VFS_File* file) const { VFS_close(file); }
};
using File = std::unique_ptr<VFS_File, Closer>;

std::string readFile(const std::string& name) {
    const File file(VFS_open_read(name.c_str()));
    if (!file) {
        throw Failure(name + ": cannot be opened");
    }
    std::string text(static_cast<size_t>(VFS_getsize(file.get())), '\0');
    // What is read in part must not be written back as the whole.
    if (VFS_read(file.get(), text.data(), text.size()) != text.size()) {
        throw Failure(name + ": cannot be read");
    }
    return text;
}

// Windows replaces no file that somebody else is reading.
std::string readInTurn(const std::string& name) {
    const platform::SaveTurn turn(name.c_str());
    return readFile(name);
}

std::string withCarriageReturns(const std::string& text) {
    std::string result;
    result.reserve(text.size() + text.size() / 16);
    for (const char c : text) {
        if (c == '\n' && (result.empty() || result.back() != '\r')) {
            result += '\r';
        }
        result += c;
    }
    return result;
}

std::string withoutCarriageReturns(const std::string& text) {
    std::string result;
    result.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\r' || i + 1 == text.size() || text[i + 1] != '\n') {
            result += text[i];
        }
    }
    return result;
}

std::string describe(const std::string& message) {
    if (message == "Error") {
        return "this is not expected here";
    }
    if (message == "End Of File") {
        return "the file ends too early";
    }
    return message.empty() ? "nothing begins with this character" : message;
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

ConfFile::ConfFile(std::string name, bool bareLineFeeds)
    : name_(std::move(name))
    , bareLineFeeds_(bareLineFeeds)
    , bytes_(readInTurn(name_))
    , text_(bareLineFeeds_ ? withCarriageReturns(bytes_) : bytes_) {
    if (text_.size() > static_cast<size_t>(std::numeric_limits<int>::max())) {
        throw Failure(name_ + ": has more than 2 GiB");
    }
}

bool ConfFile::parse(Mistake& mistake) {
    // A length of 0 would mean "up to the terminator", which is the same here.
    if (parser_.parse(text_.c_str(), static_cast<int>(text_.size()))) {
        return true;
    }
    ConfigParser::Error error;
    parser_.getLastError(error);
    mistake = locate(error);
    return false;
}

void ConfFile::parse() {
    Mistake mistake;
    if (!parse(mistake)) {
        throw Failure(name_ + ":" + std::to_string(mistake.line) + ": " + mistake.message);
    }
}

// Lines are counted here: in memory the parser knows the offset of some mistakes only.
Mistake ConfFile::locate(const ConfigParser::Error& error) const {
    const size_t at =
        error.column < 0 ? text_.size() : std::min(static_cast<size_t>(error.column), text_.size());
    const std::string before = text_.substr(0, at);
    const size_t begin = before.find_last_of("\r\n") + 1; // npos wraps to 0
    Mistake mistake;
    mistake.message = describe(error.message);
    mistake.line = 1;
    for (size_t i = 0; i < at; ++i) {
        const bool pair = text_[i] == '\r' && i + 1 < text_.size() && text_[i + 1] == '\n';
        mistake.line += (text_[i] == '\n' || (text_[i] == '\r' && !pair)) ? 1U : 0U;
    }
    mistake.offset = at;
    if (bareLineFeeds_) { // in the file there is no carriage return in front of each line feed
        mistake.offset = withoutCarriageReturns(before).size();
    }
    mistake.text = text_.substr(begin, text_.find_first_of("\r\n", at) - begin);
    mistake.column = at - begin;
    return mistake;
}

std::string ConfFile::formatted() {
    // The parser ends the lines of a buffer in bare line feeds.
    const std::string text =
        saved(name_, [this](char** buffer, int& length) { return parser_.save(buffer, length); });
    return bareLineFeeds_ ? text : withCarriageReturns(text);
}

void ConfFile::writeFormatted() {
    replace(formatted());
}

void ConfFile::writeEdited() {
    const std::string text = saved(
        name_, [this](char** buffer, int& length) { return parser_.saveEdited(buffer, length); });
    replace(bareLineFeeds_ ? withoutCarriageReturns(text) : text);
}

void ConfFile::replace(const std::string& text) const {
    const platform::SaveTurn turn(name_.c_str());
    if (!turn.isMine()) {
        throw Failure(name_ + ": other programs are saving in the same directory all the time");
    }
    if (readFile(name_) != bytes_) {
        throw ChangedMeanwhile(name_ + ": somebody else is changing it; nothing was written");
    }
    if (!platform::replaceContents(name_.c_str(), text)) {
        throw Failure(name_ + ": cannot be replaced");
    }
}

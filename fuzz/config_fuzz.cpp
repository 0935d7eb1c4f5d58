// Configuration texts: a text is parsed, walked, saved and parsed again, and must give the same
// tree. Then the input's bytes choose changes, and the text of saveEdited must have the tree's
// contents. The same bytes are used as a path for a reader of settings.
#include "require.h"

#include "Config/ConfigParser.h"
#include "Config/SettingsReader.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

using iterator = ConfigParser::iterator;

bool parse(ConfigParser& parser, const std::string& text) {
    const bool isParsed = parser.parse(text.c_str(), static_cast<int>(text.size()));
    ConfigParser::Error error;
    require(parser.getLastError(error));
    require(error.line >= -1 && error.column < static_cast<int>(text.size()));
    require(isParsed || parser.begin().isEnd());
    return isParsed;
}

bool areNear(double left, double right) {
    return std::abs(left / 2 - right / 2) <= std::abs(left) * 1e-9;
}

void requireSame(iterator left, iterator right) {
    for (; !left.isEnd(); ++left, ++right) {
        require(left.getType() == right.getType() && left.name() == right.name());
        switch (left.getType()) {
        case iterator::kInteger:
            require(left.getInt() == right.getInt());
            break;
        case iterator::kReal:
            require(left.getDouble() == right.getDouble() ||
                    areNear(left.getDouble(), right.getDouble()));
            break;
        case iterator::kString:
            require(left.getString() == right.getString());
            break;
        default:
            requireSame(left.begin(), right.begin());
            break;
        }
    }
    require(right.isEnd());
}

using Save = bool (ConfigParser::*)(char**, int&);

bool save(ConfigParser& parser, Save how, std::string& text) {
    char* buffer = nullptr;
    int length = 0;
    if (!(parser.*how)(&buffer, length)) {
        return false;
    }
    const std::unique_ptr<char[]> owned(buffer);
    text.assign(buffer, static_cast<std::size_t>(length) - 1);
    return true;
}

// All line feeds are ends of lines, because saved strings have escaped line feeds.
std::string withCrLf(const std::string& text) {
    std::string result;
    for (const char character : text) {
        result += character == '\n' ? "\r\n" : std::string(1, character);
    }
    return result;
}

void requireReadable(ConfigParser& parser, const std::string& text) {
    ConfigParser copy;
    require(text.empty() ? parser.begin().isEnd() : parse(copy, text));
    requireSame(parser.begin(), copy.begin());
}

void insert(iterator position, std::uint8_t choice) {
    switch (choice % 4) {
    case 0:
        position.insert("inserted", 1);
        break;
    case 1:
        position.insertBlock("block").end().insert("x", 2.5);
        break;
    case 2:
        position.insertString("item\n");
        break;
    default:
        position.insertInt(-7);
        break;
    }
}

// Walks into entries and along them, and changes some, as the bytes choose.
void change(ConfigParser& parser, const std::uint8_t* bytes, std::size_t count) {
    iterator entry = parser.begin();
    for (; count > 0; --count, ++bytes) {
        const auto choice = static_cast<std::uint8_t>(*bytes / 8);
        switch (*bytes % 8) {
        case 0:
            entry.set("changed \\ \"text\"");
            break;
        case 1:
            entry.set(choice);
            break;
        case 2:
            entry.setName("renamed");
            break;
        case 3:
            insert(entry, choice);
            break;
        case 4:
            entry = entry.erase();
            break;
        case 5:
            entry = entry.begin();
            break;
        case 6:
            entry = parser.begin();
            break;
        default:
            ++entry;
            break;
        }
    }
}

// The line of an entry is never before that of the preceding entry.
void requireLinesAscend(iterator entry, int& last) {
    for (; !entry.isEnd(); ++entry) {
        require(entry.line() >= last);
        last = entry.line();
        requireLinesAscend(entry.begin(), last);
    }
}

void usePath(ConfigParser& parser, const std::string& path) {
    const bool isThere = !parser.findPath(path).isEnd();
    if (parser.setPath(path, 7)) {
        require(parser.findPath(path).getInt() == 7);
    } else {
        require(isThere == !parser.findPath(path).isEnd());
    }
}

void readSettings(const std::string& source, const std::string& path) {
    ConfigParser parser;
    const qz::SettingsReader reader(parser, "f", source.c_str(), static_cast<int>(source.size()));
    int number = 0;
    const bool isRead = reader.read(path, number);
    require(isRead == (parser.findPath(path).getType() == iterator::kInteger));
    const std::size_t before = reader.problems().size();
    for (iterator entry = parser.begin(); !entry.isEnd(); ++entry) {
        reader.find(entry.name());
    }
    require(reader.problems().size() <= before);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kMaxChanges = 16;
    // The last bytes are changes, the rest is text.
    const std::size_t changes = size / 4 < kMaxChanges ? size / 4 : kMaxChanges;
    const std::string source(reinterpret_cast<const char*>(data), size - changes);
    ConfigParser parser;
    if (source.empty() || !parse(parser, source)) {
        return 0;
    }
    std::string text;
    require(save(parser, &ConfigParser::saveEdited, text) && text == source);
    if (save(parser, &ConfigParser::save, text)) { // fails if a real is not finite
        requireReadable(parser, withCrLf(text));
    }
    int line = 1;
    requireLinesAscend(parser.begin(), line);
    const std::string path(reinterpret_cast<const char*>(data) + source.size(), changes);
    readSettings(source, path);
    change(parser, data + source.size(), changes);
    usePath(parser, path);
    if (save(parser, &ConfigParser::saveEdited, text)) {
        requireReadable(parser, text);
    }
    return 0;
}

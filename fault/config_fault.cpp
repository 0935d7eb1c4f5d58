// Configuration: parsing, editing, saving. A saved file is the old one or the new one, and the tree
// can be edited and saved after any failure.
#include "driver.h"

#include "Config/SettingsReader.h"

#include <memory>
#include <new>

namespace {

const std::string kOld = "// kept\r\na = 1;\r\nblock { b = 2.5; c = \"text\"; }\r\n"
                         "list = { {1, 2}, {3, 4 * 5} };\r\n";
const std::string kPath = "settings.cfg";
const std::string kLong(100, 'x');
const std::string kBlock = "block", kNew = "fresh", kA = "a", kList = "list";
const std::string kDeeper = "block.deeper.still", kItem = "list.3";

// The text that would be saved; the driver's own call, which does not fail.
std::string textOf(ConfigParser& parser) {
    const Aside aside;
    char* buffer = nullptr;
    int length = 0;
    const bool isSaved = parser.saveEdited(&buffer, length);
    const std::unique_ptr<char[]> owned(buffer);
    return isSaved ? std::string(buffer) : std::string();
}

// A text is parsed completely, or the tree is empty and the error says why.
void parseText(ConfigParser& parser) {
    const bool isParsed = step(parser.parse(kOld.c_str(), static_cast<int>(kOld.size())), "parse");
    const Aside aside;
    ConfigParser::Error error;
    holds(parser.getLastError(error) && error.line == -1, "where the error is");
    holds(error.message == (isParsed ? "" : "Out of memory"), "the error's message");
    holds(textOf(parser) == (isParsed ? kOld : ""), "half a text was parsed");
}

// Each edit is made completely or not at all.
void edit(ConfigParser& parser) {
    using iterator = ConfigParser::iterator;
    const auto tryTo = [&](const char* what, auto change) {
        const std::string before = textOf(parser);
        const bool isMade = step(change(), what);
        holds(isMade == (textOf(parser) != before), what);
    };
    tryTo("setString", [&] { return parser.find(kA).setString(kLong); });
    tryTo("insertString", [&] { return !parser.end().insertString(kNew, kLong).isEnd(); });
    tryTo("insertDouble", [&] { return !parser.begin().insertDouble(kLong, 1.5).isEnd(); });
    tryTo("insert into a block",
          [&] { return !parser.find(kBlock).end().insertString(kLong, kLong).isEnd(); });
    tryTo("insert into a list", [&] { return !parser.find(kList).begin().insertInt(1).isEnd(); });
    tryTo("setPath", [&] { return parser.setPath(kDeeper, kLong); });
    tryTo("setPath to an item", [&] { return parser.setPath(kItem, kLong); });
    tryTo("setString of a list", [&] { return parser.find(kList).setString(kLong); });
    tryTo("setName", [&] { return parser.find(kA).setName(kLong); });
    const std::string before = textOf(parser);
    parser.find(kBlock).begin().erase();
    holds(textOf(parser) != before, "erasing needs no memory");
    const iterator block = parser.begin().insertBlock(kNew); // an empty block cannot be saved
    if (step(!block.isEnd(), "insertBlock")) {
        tryTo("insertInt", [&] { return !block.end().insertInt(kA, 3).isEnd(); });
    }
}

void readSettings(ConfigParser& parser) {
    stepOrThrow<std::bad_alloc>("SettingsReader", [&] {
        int value = 0;
        const qz::SettingsReader reader(parser, kPath);
        const bool isRead = reader.read("a", value, 2, 3);
        const std::size_t problems = reader.problems().size();
        step(!isRead && problems == 3, "SettingsReader");
    });
}

using Save = bool (ConfigParser::*)(const std::string&);

void save(ConfigParser& parser, Save how, const char* what) {
    const std::string before = readFile(kPath);
    bool saved = false;
    stepOrThrow<std::bad_alloc>(what, [&] {
        saved = (parser.*how)(kPath);
        step(saved, what);
    });
    const Aside aside;
    const std::string after = readFile(kPath);
    holds(saved || after == before || isDisturbed(), "a failed save replaced the file");
    ConfigParser again;
    whole(after == before || again.parse(kPath), "the file is neither old nor new");
    counted(std::distance(std::filesystem::directory_iterator("."), {}) == 1 || !saved,
            "a save left a file of its own beside the saved one");
}

} // namespace

void prepare() {
    std::filesystem::create_directory("save");
    std::filesystem::current_path("save");
    writeFile(kPath, kOld);
}

void work() {
    alignas(ConfigParser) static unsigned char room[sizeof(ConfigParser)];
    writeFile(kPath, kOld);
    ConfigParser* parser = nullptr;
    if (!stepOrThrow<std::bad_alloc>("ConfigParser", [&] { parser = new (room) ConfigParser; })) {
        return;
    }
    if (step(parser->isInitialized(), "isInitialized") && step(parser->parse(kPath), "parse")) {
        readSettings(*parser);
        step(parser->parse(kPath), "parse");
        parseText(*parser);
        if (step(parser->parse(kPath), "parse")) {
            edit(*parser);
        }
        save(*parser, &ConfigParser::saveEdited, "saveEdited");
        save(*parser, &ConfigParser::save, "save");
        char* buffer = nullptr;
        int length = 0;
        stepOrThrow<std::bad_alloc>("save to a buffer", [&] {
            if (step(parser->save(&buffer, length), "save to a buffer")) {
                delete[] buffer;
            }
        });
    }
    parser->~ConfigParser();
}

void finish() {}

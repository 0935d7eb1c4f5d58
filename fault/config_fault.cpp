// Configuration: parse, edit, save. A file that is saved is the old one or the new one, and a tree
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
const std::string kInserted = "inserted", kBlock = "block", kNew = "fresh", kA = "a";

// Each edit is done or not, never half.
void edit(ConfigParser& parser) {
    stepOrThrow<std::bad_alloc>("edit", [&] {
        step(parser.find(kA).setString(kLong), "setString");
        parser.end().insertString(kInserted, kLong);
        const ConfigParser::iterator block = parser.begin().insertBlock(kNew);
        if (!block.isEnd()) {
            block.end().insertInt(kA, 3);
        }
        parser.find(kBlock).begin().erase();
        step(parser.setPath("block.deeper.still", kLong), "setPath");
    });
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
        edit(*parser);
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

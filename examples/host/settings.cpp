#include "settings.h"

#include "user_error.h"

#include "Globals.h"
#include "Lua/Config.h"

#include <lua.hpp>

namespace {

/* Reads settings by their paths from the table on top of the stack. */
class Reader {
public:
    Reader(lua_State* L, std::string file) : L_(L), config_(L), file_(std::move(file)) {}

    void read(const char* path, std::string& value) { readTyped(path, LUA_TSTRING, value); }

    void read(const char* path, int& value, int least, int most) {
        readTyped(path, LUA_TNUMBER, value);
        if (value < least || value > most) {
            fail(path, "must be from " + std::to_string(least) + " to " + std::to_string(most));
        }
    }

private:
    /* Checks the type, because Lua itself would convert between numbers and texts. */
    template<class Value>
    void readTyped(const char* path, int type, Value& value) {
        config_.get(path);
        const int found = lua_type(L_, -1);
        if (found != LUA_TNIL && found != type) {
            fail(path, std::string("must be a ") + lua_typename(L_, type) + ", not a " +
                           lua_typename(L_, found));
        }
        config_.pop(&value);
    }

    [[noreturn]] void fail(const char* path, const std::string& problem) const {
        throw UserError(file_ + ": " + path + " " + problem);
    }

    lua_State* L_;
    Lua::Config config_;
    std::string file_;
};

} // namespace

Settings loadSettings(const std::string& file) {
    // The library makes globalConfig for settings.
    if (globalConfig == nullptr) {
        throw UserError("not enough memory for a Lua state");
    }
    // The file is run without globals, because settings compute nothing.
    if (!Lua::Config(globalConfig).tmpload(file.c_str(), false)) {
        throw UserError(file + " is no file of settings; the line above says why");
    }
    Settings settings;
    Reader reader(globalConfig, file);
    reader.read("script", settings.script);
    reader.read("world", settings.world);
    reader.read("flight.steps", settings.steps, 1, 100000);
    reader.read("picture.file", settings.picture);
    reader.read("picture.trails", settings.trails, 1, 50);
    reader.read("ferries.frames", settings.frames, 0, 1000000000);
    reader.read("ferries.save", settings.saveEvery, 0, 1000000000);
    reader.read("ferries.rate", settings.rate, 1, 1000);
    return settings;
}

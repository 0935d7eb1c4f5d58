#include "Lua/Loader.h"

#include "Lua/State.h"
#include "lua/field.h"
#include "lua/number.h"
#include "lua/protect.h"
#include "lua/truncate.h"
#include "lua/unwind.h"

#include <lua.hpp>

#include <cmath>
#include <cstddef>
#include <utility>

namespace Lua {

namespace {

std::string textOf(const Key& key) {
    return key.isText() ? std::string(key.text()) : std::to_string(key.index());
}

// The type's name in error texts; empty for strings, so that their text stays "... is not a ".
const char* typeWord(lua_State* state, int type) {
    return type == LUA_TSTRING ? "" : lua_typename(state, type);
}

bool isA(lua_State* state, int type) {
    const int found = lua_type(state, -1);
    return found == type || (type == LUA_TBOOLEAN && found == LUA_TNUMBER);
}

std::string join(const std::vector<std::string>& path, std::size_t from, std::size_t to) {
    std::string text;
    for (std::size_t i = from; i < to; ++i) {
        text += (i > from ? "." : "") + path[i];
    }
    return text;
}

class PopAtEnd {
public:
    explicit PopAtEnd(lua_State* state) : state_(state) {}
    ~PopAtEnd() { lua_pop(state_, 1); }
    PopAtEnd(const PopAtEnd&) = delete;
    PopAtEnd& operator=(const PopAtEnd&) = delete;

private:
    lua_State* state_;
};

// Stack: T -> T; or T -> T, message, and returns Lua's error code.
template<class PushValue>
int storeField(lua_State* state, const Key& key, const PushValue& pushValue) {
    lua_pushvalue(state, -1);
    return lua::protect(state, 1, 0, [&](lua_State* inner) {
        lua::pushKey(inner, key);
        pushValue(inner);
        lua_settable(inner, 1);
        return 0;
    });
}

int storeNumbers(lua_State* state, const Key& key, const double* values, int count) {
    return storeField(state, key, [=](lua_State* inner) {
        lua_createtable(inner, count, 0);
        for (int i = 0; i < count; ++i) {
            lua_pushnumber(inner, values[i]);
            lua_rawseti(inner, -2, i + 1);
        }
    });
}

} // namespace

Loader::~Loader() {
    if (ownsState_) {
        QZ_lua_close(state_);
    } else {
        forgetReads();
    }
}

void Loader::fail(const std::string& message, const std::string& full) const {
    throw LoaderException(message, file_.empty() ? full : file_ + ": " + full);
}

void Loader::requireState(const char* name) {
    if (state_ != nullptr) {
        return;
    }
    state_ = QZ_lua_open(name);
    if (state_ == nullptr) {
        fail("not enough memory");
    }
    ownsState_ = true;
    QZ_lua_openlibs(state_);
}

// Functions that walk and write call it first: only growing the stack may raise a Lua error.
void Loader::reserve() const {
    if (state_ == nullptr) {
        fail("No Lua state");
    }
    if (lua_checkstack(state_, lua::kRoom) == 0) {
        fail(getCurrentPath() + " is nested too deeply, or too many tables were begun or loaded");
    }
}

void Loader::failWithLuaError(const std::string& where) const {
    const PopAtEnd message(state_); // pops it even if there is no memory for a copy
    fail(where + lua::errorText(state_));
}

void Loader::failEntry(const Key& key, const std::string& what) const {
    fail(pathText(key) + what, (path_.empty() ? textOf(key) : pathText(key)) + what);
}

void Loader::check(int status, const Key& key) const {
    if (status != 0) {
        const PopAtEnd message(state_);
        failEntry(key, std::string(": ") + lua::errorText(state_));
    }
}

void Loader::failLookup(const Key& key, const std::string& what) const {
    lua_pop(state_, 1);
    failEntry(key, what);
}

std::string Loader::pathText(const Key& key) const {
    return path_.empty() ? "" : getCurrentPath() + "." + textOf(key);
}

std::string Loader::getCurrentPath(int from) const {
    return from < 0 ? "" : join(path_, static_cast<std::size_t>(from), path_.size());
}

// The path of the table that is iterated over.
std::string Loader::iteratedPath() const {
    return join(path_, 0, path_.size() - 1);
}

// Makes the table that has been pushed the current one. On failure pops `values` values.
void Loader::enter(const Key& name, int values) {
    try {
        path_.push_back(textOf(name));
    } catch (...) {
        lua_pop(state_, values);
        throw;
    }
}

void Loader::appendPackagePath() const {
    const char* const directory = rootDir_.data();
    const std::size_t length = rootDir_.size();
    const int status = lua::protect(state_, 0, 0, [=](lua_State* state) {
        lua_getglobal(state, "package");
        if (!lua_istable(state, -1)) {
            return 0; // the caller's own state may lack the library
        }
        lua_getfield(state, -1, "path");
        if (lua_isstring(state, -1) == 0) {
            lua_pop(state, 1);
            lua_pushliteral(state, "");
        }
        lua_pushliteral(state, ";");
        lua_pushlstring(state, directory, length);
        lua_pushliteral(state, "?.lua;");
        lua_concat(state, 4);
        lua_setfield(state, -2, "path");
        return 0;
    });
    if (status != 0) {
        failWithLuaError("");
    }
}

void Loader::beginLoading(const std::string& file) {
    requireState(file.c_str());
    reserve();
    const std::size_t separator = file.find_last_of("/\\");
    rootDir_ = separator == std::string::npos ? "./" : file.substr(0, separator + 1);
}

// Runs the chunk on top of the stack, or throws the message that is there if loading it has failed.
void Loader::finishLoading(int status, const std::string& file, const std::string& table) {
    if (status != 0 || lua_pcall(state_, 0, 0, 0) != 0) {
        const PopAtEnd message(state_);
        throw LoaderException(lua::errorText(state_));
    }
    file_ = file;
    load(table);
}

void Loader::load(const std::string& file, const std::string& table) {
    beginLoading(file);
    appendPackagePath();
    finishLoading(QZ_lua_loadfile(state_, file.c_str()), file, table);
}

void Loader::loadMounted(const std::string& file, const std::string& table) {
    beginLoading(file);
    finishLoading(QZ_lua_loadmounted(state_, file.c_str()), file, table);
}

void Loader::load(const std::string& table) {
    reserve();
    const lua::Unwind unwind(state_);
    std::vector<std::string> path{table};
    lua_pushvalue(state_, LUA_GLOBALSINDEX);
    const int status = lua::pushField(state_, table);
    lua_remove(state_, -2);
    if (status != 0) {
        failWithLuaError(table + ": ");
    }
    if (!lua_istable(state_, -1)) {
        lua_pop(state_, 1);
        fail("No " + table + " table in config file");
    }
    path_ = std::move(path);
}

void Loader::createGlobalTable(const std::string& name) {
    requireState("Lua::Loader::createGlobalTable");
    reserve();
    std::vector<std::string> path{name};
    const int status = lua::protect(state_, 0, 1, [key = Key(name)](lua_State* state) {
        lua_newtable(state);
        lua::pushKey(state, key);
        lua_pushvalue(state, -2);
        lua_settable(state, LUA_GLOBALSINDEX);
        return 1;
    });
    if (status != 0) {
        failWithLuaError("");
    }
    path_ = std::move(path);
}

void Loader::checkEntry(const Key& key, int type) const {
    if (lua_isnil(state_, -1)) {
        failLookup(key, " is missing");
    }
    if (!isA(state_, type)) {
        failLookup(key, std::string(" is not a ") + typeWord(state_, type));
    }
}

// T -> T, value of the wanted type.
void Loader::pushEntry(const Key& key, int type) const {
    reserve();
    check(noteRead(-1, key), key);
    check(lua::pushField(state_, key), key);
    checkEntry(key, type);
}

double Loader::getDouble(Key key) const {
    if (state_ == nullptr) {
        return 0;
    }
    pushEntry(key, LUA_TNUMBER);
    const double number = lua_tonumber(state_, -1);
    lua_pop(state_, 1);
    return number;
}

int Loader::getInt(Key key) const {
    constexpr double kTolerance = 1e-8;
    const double number = getDouble(key);
    const int integer = lua::truncate<int>(number);
    if (!(std::fabs(number - integer) <= kTolerance)) {
        failEntry(key, " is not an integer (" + std::string(lua::NumberText(number).view()) + ")");
    }
    return integer;
}

void Loader::requireRange(const Key& key, double number, double least, double most) const {
    const auto text = [](double value) { return std::string(lua::NumberText(value).view()); };
    if (state_ != nullptr && !(number >= least && number <= most)) {
        failEntry(key, " is " + text(number) + ", not from " + text(least) + " to " + text(most));
    }
}

int Loader::getInt(Key key, int least, int most) const {
    const int integer = getInt(key);
    requireRange(key, integer, least, most);
    return integer;
}

double Loader::getDouble(Key key, double least, double most) const {
    const double number = getDouble(key);
    requireRange(key, number, least, most);
    return number;
}

void Loader::reject(Key key, const std::string& what) const {
    failEntry(key, " " + what);
}

bool Loader::getBoolean(Key key) const {
    if (state_ == nullptr) {
        return false;
    }
    pushEntry(key, LUA_TBOOLEAN);
    const bool truth = lua_type(state_, -1) == LUA_TNUMBER ? lua_tonumber(state_, -1) != 0
                                                           : lua_toboolean(state_, -1) != 0;
    lua_pop(state_, 1);
    return truth;
}

std::string Loader::getString(Key key) const {
    if (state_ == nullptr) {
        return {};
    }
    pushEntry(key, LUA_TSTRING);
    const PopAtEnd entry(state_); // pops it even if there is no memory for the copy
    return {lua_tostring(state_, -1), lua_objlen(state_, -1)};
}

void Loader::readNumbers(const Key& key, double* values, int count) {
    beginSubtable(key);
    try {
        for (int i = 0; i < count; ++i) {
            values[i] = getDouble(i + 1);
        }
    } catch (...) {
        endSubtable();
        throw;
    }
    endSubtable();
}

Math::Vector<3, double> Loader::getVector(Key key) {
    if (state_ == nullptr) {
        return {};
    }
    double values[3];
    readNumbers(key, values, 3);
    return {values[0], values[1], values[2]};
}

Math::Rotation3<double> Loader::getQuaternion(Key key) {
    if (state_ == nullptr) {
        return {};
    }
    double values[4];
    readNumbers(key, values, 4);
    return {values[0], values[1], values[2], values[3]};
}

bool Loader::hasEntry(Key key) const {
    if (state_ == nullptr || lua_checkstack(state_, lua::kRoom) == 0) {
        return false;
    }
    if (noteRead(-1, key) != 0) {
        lua_pop(state_, 1);
    }
    const bool present = lua::pushField(state_, key) == 0 && !lua_isnil(state_, -1);
    lua_pop(state_, 1);
    return present;
}

void Loader::setInt(Key key, int value) {
    setDouble(key, value);
}

void Loader::setDouble(Key key, double value) {
    reserve();
    check(storeField(state_, key, [value](lua_State* state) { lua_pushnumber(state, value); }),
          key);
}

void Loader::setBoolean(Key key, bool value) {
    reserve();
    check(storeField(state_, key, [value](lua_State* state) { lua_pushboolean(state, value); }),
          key);
}

void Loader::setString(Key key, const std::string& value) {
    reserve();
    const auto push = [&value](lua_State* state) {
        lua_pushlstring(state, value.data(), value.size());
    };
    check(storeField(state_, key, push), key);
}

void Loader::setVector(Key key, const Math::Vector<3, double>& value) {
    reserve();
    const double values[] = {value.x, value.y, value.z};
    check(storeNumbers(state_, key, values, 3), key);
}

void Loader::setQuaternion(Key key, const Math::Rotation3<double>& value) {
    reserve();
    const double values[] = {value.x, value.y, value.z, value.w};
    check(storeNumbers(state_, key, values, 4), key);
}

} // namespace Lua

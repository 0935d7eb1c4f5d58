#include "Lua/Serializer.h"

#include "lua/field.h"
#include "lua/number.h"
#include "lua/protect.h"
#include "lua/serializer_source.h"
#include "platform/thread.h"

#include <lua.hpp>

#include <cstddef>
#include <ostream>

namespace Lua {

// How the global __write reaches its serializer. Scripts may keep __write longer than that lives,
// so the pointer in this userdata is cleared when the call ends.
struct SerializerOutput {
    Serializer* serializer;

    // A stream may throw, and the exception must not reach Lua.
    bool write(const char* text, std::size_t length) const {
        try {
            serializer->write_(std::string(text, length));
            return true;
        } catch (...) {
            return false;
        }
    }
};

namespace {

int writeText(lua_State* state) {
    const auto& output =
        *static_cast<SerializerOutput*>(lua_touserdata(state, lua_upvalueindex(1)));
    lua::numberToText(state, 1);
    std::size_t length = 0;
    const char* const text = luaL_checklstring(state, 1, &length);
    if (output.serializer != nullptr && !output.write(text, length)) {
        lua_pushliteral(state, "the stream does not take what is written");
        return lua_error(state);
    }
    return 0;
}

// The source's functions, and the one that they call.
constexpr const char* kGlobals[] = {"__write",   "__serialize",  "fill_cache",
                                    "write",     "output_table", "can_pretty",
                                    "write_tab", "dopretty",     "save_pretty"};

// The registry has the output of the last call under this key. The global __write would not do: a
// script may keep its globals elsewhere, with a metatable.
char outputKey;

void pushLastOutput(lua_State* state) {
    lua_pushlightuserdata(state, &outputKey);
    lua_rawget(state, LUA_REGISTRYINDEX);
}

// Takes the output from the stack.
void setLastOutput(lua_State* state) {
    lua_pushlightuserdata(state, &outputKey);
    lua_insert(state, -2);
    lua_rawset(state, LUA_REGISTRYINDEX);
}

// Whether the value on top of the stack is the output of a call that goes on.
bool isWriting(lua_State* state) {
    // Scripts can change the registry through the debug library.
    return lua_objlen(state, -1) == sizeof(SerializerOutput) && lua_isuserdata(state, -1) != 0 &&
           static_cast<SerializerOutput*>(lua_touserdata(state, -1))->serializer != nullptr;
}

// If this call is made within another, by its stream: pushes a table of the globals, and of the
// other's output at 1. Otherwise pushes nil.
int keepGlobals(lua_State* state) {
    return lua::protect(state, 0, 1, [](lua_State* inner) {
        pushLastOutput(inner);
        if (!isWriting(inner)) {
            lua_pushnil(inner);
            return 1;
        }
        lua_newtable(inner);
        lua_insert(inner, -2);
        lua_rawseti(inner, -2, 1);
        for (const char* const name : kGlobals) {
            lua_getglobal(inner, name);
            lua_setfield(inner, -2, name);
        }
        return 1;
    });
}

// Gives the outer call its globals back, if there is one.
void restoreGlobals(lua_State* state, int kept) {
    if (!lua_istable(state, kept)) {
        return;
    }
    lua_pushvalue(state, kept);
    const int status = lua::protect(state, 1, 0, [](lua_State* inner) {
        lua_rawgeti(inner, 1, 1);
        setLastOutput(inner);
        for (const char* const name : kGlobals) {
            lua_getfield(inner, 1, name);
            lua_setglobal(inner, name);
        }
        return 0;
    });
    lua_pop(state, status != 0 ? 1 : 0);
}

// Sets the global __write. Pushes its output, which keeps the output from being collected.
int installOutput(lua_State* state, Serializer* serializer) {
    return lua::protect(state, 0, 1, [serializer](lua_State* inner) {
        void* const output = lua_newuserdata(inner, sizeof(SerializerOutput));
        static_cast<SerializerOutput*>(output)->serializer = serializer;
        lua_pushvalue(inner, -1);
        setLastOutput(inner);
        lua_pushvalue(inner, -1);
        lua_pushcclosure(inner, writeText, 1);
        lua_setglobal(inner, "__write");
        return 1;
    });
}

int runSource(lua_State* state) {
    const int status = luaL_loadbuffer(state, lua::kSerializerSource,
                                       sizeof lua::kSerializerSource - 1, "=__serialize");
    return status != 0 ? status : lua_pcall(state, 0, 0, 0);
}

// Pushes an error message on failure.
void callSerialize(lua_State* state, const Key& name) {
    lua::protect(state, 0, 0, [&name](lua_State* inner) {
        lua_getglobal(inner, "__serialize");
        lua::pushKey(inner, name);
        lua_gettable(inner, LUA_GLOBALSINDEX);
        lua::pushKey(inner, name);
        lua_call(inner, 2, 0);
        return 0;
    });
}

} // namespace

void Serializer::serialize(lua_State* state, const std::string& name) {
    if (state == nullptr) {
        throw SerializerException("No Lua state");
    }
    if (lua_checkstack(state, lua::kRoom) == 0) {
        throw SerializerException("stack overflow");
    }
    const platform::NoCancellation guard; // a cancelled thread would unwind through Lua
    const int kept = lua_gettop(state) + 1;
    const int output = kept + 1;
    if (keepGlobals(state) != 0 || runSource(state) != 0 || installOutput(state, this) != 0) {
        const std::string reason = lua::errorText(state);
        restoreGlobals(state, kept);
        lua_settop(state, kept - 1);
        throw SerializerException(reason);
    }
    callSerialize(state, name);
    static_cast<SerializerOutput*>(lua_touserdata(state, output))->serializer = nullptr;
    restoreGlobals(state, kept);
    lua_remove(state, output);
    lua_remove(state, kept);
}

void Serializer::write_(const std::string& text) {
    out_.write(text.data(), static_cast<std::streamsize>(text.size()));
}

} // namespace Lua

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

// Sets the global __write. Pushes its output, which keeps the output from being collected.
int installOutput(lua_State* state, Serializer* serializer) {
    return lua::protect(state, 0, 1, [serializer](lua_State* inner) {
        void* const output = lua_newuserdata(inner, sizeof(SerializerOutput));
        static_cast<SerializerOutput*>(output)->serializer = serializer;
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
    if (runSource(state) != 0 || installOutput(state, this) != 0) {
        const std::string reason = lua::errorText(state);
        lua_pop(state, 1);
        throw SerializerException(reason);
    }
    const int output = lua_gettop(state);
    callSerialize(state, name);
    static_cast<SerializerOutput*>(lua_touserdata(state, output))->serializer = nullptr;
    lua_remove(state, output);
}

void Serializer::write_(const std::string& text) {
    out_.write(text.data(), static_cast<std::streamsize>(text.size()));
}

} // namespace Lua

#include "lua/field.h"

#include "lua/protect.h"

namespace lua {

int pushField(lua_State* state, const Lua::Key& key) {
    if (!lua_istable(state, -1)) {
        lua_pushnil(state);
        return 0;
    }
    lua_pushvalue(state, -1);
    return protect(state, 1, 1, [&key](lua_State* inner) {
        pushKey(inner, key);
        lua_gettable(inner, 1);
        return 1;
    });
}

} // namespace lua

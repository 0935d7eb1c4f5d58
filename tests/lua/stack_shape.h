// Checks what calls leave on the stack of a Lua state.
#pragma once

#include "lua/script.h"

#include <lua.hpp>

#include <string>

namespace qz::test {

// Its destructor expects that the top `popped` values of those that were on the stack when it was
// made are gone, that the others are still the same, and that on top of them are values of the
// types in `pushed`, which are separated by blanks.
class ExpectShape : NonCopyable {
public:
    ExpectShape(lua_State* state, int popped, std::string pushed)
        : state_(state), kept_(lua_gettop(state) - popped), pushed_(std::move(pushed)) {
        EXPECT_NE(lua_checkstack(state, 10), 0);
        lua_createtable(state, kept_, 0);
        for (int i = 1; i <= kept_; ++i) {
            lua_pushvalue(state, i);
            lua_rawseti(state, -2, i);
        }
        before_ = luaL_ref(state, LUA_REGISTRYINDEX);
    }

    ~ExpectShape() {
        std::string pushed;
        for (int i = kept_ + 1; i <= lua_gettop(state_); ++i) {
            pushed += (i > kept_ + 1 ? " " : "") + std::string(luaL_typename(state_, i));
        }
        EXPECT_EQ(pushed, pushed_);
        EXPECT_GE(lua_gettop(state_), kept_);
        expectKept();
        luaL_unref(state_, LUA_REGISTRYINDEX, before_);
    }

private:
    void expectKept() {
        lua_rawgeti(state_, LUA_REGISTRYINDEX, before_);
        for (int i = 1; i <= kept_; ++i) {
            lua_rawgeti(state_, -1, i);
            EXPECT_TRUE(lua_rawequal(state_, -1, i)) << "value " << i << " has changed";
            lua_pop(state_, 1);
        }
        lua_pop(state_, 1);
    }

    lua_State* state_;
    int kept_;
    std::string pushed_;
    int before_;
};

// Makes a call and checks what it leaves.
template<class Call>
auto shaped(lua_State* state, int popped, const std::string& pushed, const Call& call) {
    const ExpectShape shape(state, popped, pushed);
    return call();
}

} // namespace qz::test

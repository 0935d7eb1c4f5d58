// Restores a Lua stack when a C++ exception passes.
#pragma once

#include <lua.hpp>

#include <exception>

namespace lua {

// If an exception destroys it (for lack of memory for a message, say), pops all values pushed since
// it was made.
class Unwind {
public:
    explicit Unwind(lua_State* state) : state_(state), top_(lua_gettop(state)) {}
    ~Unwind() {
        if (std::uncaught_exceptions() > exceptions_) {
            lua_settop(state_, top_);
        }
    }
    Unwind(const Unwind&) = delete;
    Unwind& operator=(const Unwind&) = delete;

private:
    lua_State* state_;
    int top_;
    int exceptions_ = std::uncaught_exceptions();
};

} // namespace lua

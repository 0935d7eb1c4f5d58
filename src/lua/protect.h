// Lua calls that return errors, lack of memory included, instead of raising them.
#pragma once

#include <type_traits>

struct lua_State;

namespace lua {

// The number of stack slots that callers reserve first, for their own values and for a protected
// call. Only reserving them may still raise an error.
inline constexpr int kRoom = 12;

// Reserves slots; may raise an error.
void reserve(lua_State* state, int room = kRoom);

struct ProtectedCall {
    int (*invoke)(lua_State* state, const void* operation);
    const void* operation;
};

int runProtected(lua_State* state, int arguments, int results, const ProtectedCall& call);

// Calls operation(state) as Lua calls a C function, with the arguments on top of the stack, and
// returns what lua_pcall does. Lua errors jump out of the operation, so no object in it may need a
// destructor. The operation must not throw.
template<class Operation>
int protect(lua_State* state, int arguments, int results, const Operation& operation) {
    static_assert(std::is_trivially_destructible_v<Operation>);
    const ProtectedCall call{[](lua_State* inner, const void* context) {
                                 return (*static_cast<const Operation*>(context))(inner);
                             },
                             &operation};
    return runProtected(state, arguments, results, call);
}

// The text of the error message on top of the stack; valid as long as the message is there.
const char* errorText(lua_State* state);

} // namespace lua

// Lua calls that report their errors, lack of memory included, in place of raising them.
#pragma once

#include <type_traits>

struct lua_State;

namespace lua {

// The room on the stack that callers reserve before anything else, for what they push themselves
// and for a protected call. To reserve it is the one thing left that may raise.
inline constexpr int kRoom = 12;

struct ProtectedCall {
    int (*invoke)(lua_State* state, const void* operation);
    const void* operation;
};

int runProtected(lua_State* state, int arguments, int results, const ProtectedCall& call);

// Calls operation(state) as Lua calls a C function, with the arguments on top of the stack, and
// returns what lua_pcall does. Errors jump out of the operation: nothing in it may need a
// destructor. It must not throw.
template<class Operation>
int protect(lua_State* state, int arguments, int results, const Operation& operation) {
    static_assert(std::is_trivially_destructible_v<Operation>);
    const ProtectedCall call{[](lua_State* inner, const void* context) {
                                 return (*static_cast<const Operation*>(context))(inner);
                             },
                             &operation};
    return runProtected(state, arguments, results, call);
}

// The text of the error message on top of the stack, which keeps it alive.
const char* errorText(lua_State* state);

} // namespace lua

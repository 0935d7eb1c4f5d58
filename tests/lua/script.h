// A Lua state as scripts see it.
#pragma once

#include "support/test.h"

#include <lua.hpp>

namespace qz::test {

// The value at `index` as text: as tostring prints it for simple values, else the type's name.
std::string describe(lua_State* state, int index);

// Runs code and returns its results, separated by "|", or "error: " and the message without the
// position in the code. The stack is left as it was.
std::string run(lua_State* state, const std::string& code);

class Script : NonCopyable {
public:
    explicit Script(const char* name = "Test");
    ~Script();

    lua_State* state() const { return state_; }
    std::string run(const std::string& code) { return qz::test::run(state_, code); }

    // Expects the results of code: each case is "code => results".
    template<class... Cases>
    void expect(const Cases&... cases) {
        expectEach([this](const std::string& code) { return run(code); }, cases...);
    }

private:
    lua_State* state_;
};

struct ScriptInDirectory : InDirectory {
    Script script_;
};

} // namespace qz::test

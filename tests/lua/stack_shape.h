// Checks what calls leave on the stack of a Lua state.
#pragma once

#include "lua/script.h"

namespace qz::test {

// The type of each value on the stack, and what tells it from other values.
inline std::vector<std::pair<std::string, std::string>> valuesOf(lua_State* state) {
    EXPECT_NE(lua_checkstack(state, 10), 0);
    std::vector<std::pair<std::string, std::string>> values;
    for (int i = 1; i <= lua_gettop(state); ++i) {
        std::ostringstream identity;
        identity << lua_topointer(state, i) << ' ' << describe(state, i);
        values.emplace_back(luaL_typename(state, i), identity.str());
    }
    return values;
}

// Its destructor expects that the top `popped` values of those that were on the stack when it was
// made are gone, that the others are still the same, and that on top of them are values of the
// types in `pushed`, which are separated by blanks.
class ExpectShape : NonCopyable {
public:
    ExpectShape(lua_State* state, int popped, std::string pushed)
        : state_(state), kept_(valuesOf(state)), pushed_(std::move(pushed)) {
        kept_.resize(kept_.size() - static_cast<std::size_t>(popped));
    }

    ~ExpectShape() {
        auto values = valuesOf(state_);
        std::string pushed;
        for (std::size_t i = kept_.size(); i < values.size(); ++i) {
            pushed += (pushed.empty() ? "" : " ") + values[i].first;
        }
        values.resize(kept_.size());
        EXPECT_EQ(pushed, pushed_);
        EXPECT_EQ(values, kept_);
    }

private:
    lua_State* state_;
    std::vector<std::pair<std::string, std::string>> kept_;
    std::string pushed_;
};

struct ShapedScript : ScriptInDirectory {
    ~ShapedScript() override { lua_settop(state_, 0); }

    // Makes a call and checks what it leaves.
    template<class Call>
    auto shaped(int popped, const std::string& pushed, const Call& call) {
        const ExpectShape shape(state_, popped, pushed);
        return call();
    }

    // Makes calls that leave the stack as it is.
    template<class Call>
    auto still(const Call& call) {
        return shaped(0, "", call);
    }

    lua_State* state_ = script_.state();
};

} // namespace qz::test

// A Lua state as scripts see it.
#pragma once

#include <gtest/gtest.h>

#include <lua.hpp>

#include <string>

namespace qz::test {

// The value at `index` as text: what tostring gives for simple values, the type's name for others.
std::string describe(lua_State* state, int index);

// Runs code and returns its results, separated by "|", or "error: " and the message without the
// position in the code. The stack is left as it was.
std::string run(lua_State* state, const std::string& code);

class Script {
public:
    explicit Script(const char* name = "Test");
    ~Script();
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

    lua_State* state() const { return state_; }
    std::string run(const std::string& code) { return qz::test::run(state_, code); }

private:
    lua_State* state_;
};

// A fresh directory of the running test's own, relative to the working directory, with slashes:
// usable in scripts as it is.
std::string scriptDirectory();

// An allocator that fails on purpose, with its counters as context. Nothing may be left at the end.
struct FailingHeap {
    long failFrom;  // the number of the first allocation that fails
    long failUntil; // and of the first one that succeeds again
    long allocations = 0;
    size_t live = 0;

    static void* allocate(void* context, void* block, size_t oldSize, size_t size);
};

} // namespace qz::test

// A table of names that grows while the file system calls back.
#pragma once

struct lua_State;

namespace lua {

// An error must not jump over the file system's frames, so each name is appended in a protected
// call, and the error is raised afterwards.
struct Listing {
    lua_State* state;
    int append; // stack index of the function that appends `name`
    const char* name;
    int count;
    bool failed; // the error is on top of the stack
};

// Begins with the table on top of the stack, and pushes a value that `finish` pops.
void start(Listing& listing, lua_State* state);

// The context is the listing. Afterwards the table has one name more, and their count under "n".
void append(void* context, const char* name);

// Raises what has gone wrong.
void finish(Listing& listing);

} // namespace lua

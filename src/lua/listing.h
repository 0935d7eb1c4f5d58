// A table of names that grows while the file system calls back.
#pragma once

struct lua_State;

namespace lua {

// An error must not jump over the file system's stack frames. So each name is appended in a
// protected call, and `finish` raises an error afterwards.
struct Listing {
    lua_State* state;
    int append; // stack index of the function that appends `name`
    const char* name;
    int count;
    bool failed; // the error is on top of the stack
};

// Begins a listing into the table on top of the stack; pushes a value that `finish` pops.
void start(Listing& listing, lua_State* state);

// `context` is the listing. Appends a name to the table and sets its "n" to the number of names.
void append(void* context, const char* name);

// Ends the listing. Raises the error if appending a name failed.
void finish(Listing& listing);

} // namespace lua

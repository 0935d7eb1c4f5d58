// The files that scripts have open, of all states. Finalizers close most of them. Those that no
// finalizer closes, because a script took it away or opened the file while the state was closed,
// are closed after their state.
#pragma once

#include <cstdint>

struct VFS_File;
struct lua_State;

namespace lua {

// A number of its own for each state; 0 is no state.
using FileOwner = std::uint64_t;

// Gives the state its number, if it has none. Raises if memory runs out.
void makeFileOwner(lua_State* state);

// 0 if the state has no number, or a script has removed it. Needs one place on the stack.
FileOwner fileOwner(lua_State* state);

struct OpenFile {
    VFS_File* handle; // null if it did not open
    FileOwner owner;
    OpenFile* previous;
    OpenFile* next;
};

// Returns null if memory runs out.
OpenFile* addOpenFile(FileOwner owner);

void closeOpenFile(OpenFile* file);

// Nothing of the state may use its files any more.
void closeFilesOf(FileOwner owner);

} // namespace lua

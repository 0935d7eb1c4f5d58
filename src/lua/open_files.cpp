#include "lua/open_files.h"

#include "VFS/File.h"
#include "core/spin.h"

#include <lua.hpp>

#include <atomic>
#include <mutex>
#include <new>
#include <utility>

namespace lua {

namespace {

constinit std::atomic<FileOwner> lastOwner{0};

constinit core::SpinLock lock; // guards the list
constinit OpenFile* first = nullptr;

void link(OpenFile* file) {
    file->next = std::exchange(first, file);
    if (file->next != nullptr) {
        file->next->previous = file;
    }
}

void unlink(const OpenFile* file) {
    (file->previous == nullptr ? first : file->previous->next) = file->next;
    if (file->next != nullptr) {
        file->next->previous = file->previous;
    }
}

// Returns them linked by `next`.
OpenFile* takeFilesOf(FileOwner owner) {
    const std::lock_guard guard(lock);
    OpenFile* taken = nullptr;
    for (OpenFile* file = first; file != nullptr;) {
        OpenFile* const next = file->next;
        if (file->owner == owner) {
            unlink(file);
            file->next = std::exchange(taken, file);
        }
        file = next;
    }
    return taken;
}

void closeAndDelete(OpenFile* file) {
    if (file->handle != nullptr) {
        VFS_close(file->handle);
    }
    delete file;
}

// The registry's key. It is a pointer, so that no access to it allocates.
void* key() {
    return &lastOwner;
}

} // namespace

void makeFileOwner(lua_State* state) {
    if (fileOwner(state) != 0) {
        return;
    }
    lua_pushlightuserdata(state, key());
    *static_cast<FileOwner*>(lua_newuserdata(state, sizeof(FileOwner))) = ++lastOwner;
    lua_rawset(state, LUA_REGISTRYINDEX);
}

// The number is in a userdata, because scripts can put any plain number into the registry through
// the debug library, also that of another state.
FileOwner fileOwner(lua_State* state) {
    lua_pushlightuserdata(state, key());
    lua_rawget(state, LUA_REGISTRYINDEX);
    const bool isOwner =
        lua_type(state, -1) == LUA_TUSERDATA && lua_objlen(state, -1) == sizeof(FileOwner);
    const FileOwner owner = isOwner ? *static_cast<FileOwner*>(lua_touserdata(state, -1)) : 0;
    lua_pop(state, 1);
    return owner;
}

OpenFile* addOpenFile(FileOwner owner) {
    auto* const file = new (std::nothrow) OpenFile{nullptr, owner, nullptr, nullptr};
    if (file != nullptr) {
        const std::lock_guard guard(lock);
        link(file);
    }
    return file;
}

void closeOpenFile(OpenFile* file) {
    {
        const std::lock_guard guard(lock);
        unlink(file);
    }
    closeAndDelete(file);
}

void closeFilesOf(FileOwner owner) {
    if (owner == 0) {
        return;
    }
    for (OpenFile* file = takeFilesOf(owner); file != nullptr;) {
        closeAndDelete(std::exchange(file, file->next));
    }
}

} // namespace lua

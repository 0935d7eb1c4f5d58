// Archives: reading gives the file's contents, and everything can be unmounted.
#include "driver.h"

#include "Lua/State.h"
#include "VFS/Archive.h"

#include <lua.hpp>

#include <cstdlib>
#include <cstring>

namespace {

void read(const char* path, const char* word, std::uint64_t expected) {
    std::uint64_t size = 1;
    void* const buffer = vfs_read_file(path, &size);
    holds((buffer == nullptr) == (size == 0), "the size of a failure");
    if (step(buffer != nullptr, path)) {
        const std::size_t length = std::strlen(word);
        whole(size == expected, "the size of a file");
        for (std::uint64_t i = 0; i + length <= size; i += length) {
            whole(std::memcmp(static_cast<char*>(buffer) + i, word, length) == 0, path);
        }
        vfs_free_file_buffer(buffer);
    }
}

// Long enough that PhysicsFS allocates memory to look for it.
const std::string longFolder(200, 'x');
const std::string longName = longFolder + "/" + longFolder;

// Whether a mount without these files lies between the two others. PhysicsFS then forgets an error
// of the system, and the older file is read, as the header says; it never forgets lack of memory.
bool mountsBetween = true;

// Looks for files in the first and the last mount; existing files must never be reported missing.
void look() {
    void* buffer = nullptr;
    std::uint64_t size = 0;
    const int found = vfs_read_optional_file(longName.c_str(), &buffer, &size);
    holds(found != 0 && (found == 1) == (buffer != nullptr), "vfs_read_optional_file");
    if (step(found == 1, "vfs_read_optional_file")) {
        whole(size == 4 && std::memcmp(buffer, "new/", 4) == 0, "an optional file");
        vfs_free_file_buffer(buffer);
    }
    const int missing = vfs_read_optional_file("missing.txt", &buffer, &size);
    holds(missing <= 0 && buffer == nullptr && size == 0, "a missing file");
    step(missing == 0, "vfs_read_optional_file");

    const vfs_kind kind = vfs_get_kind(longName.c_str(), &size);
    holds(kind == VFS_KIND_FILE ? size == 4 : kind == VFS_KIND_UNKNOWN, "vfs_get_kind");
    step(kind == VFS_KIND_FILE, "vfs_get_kind");

    int names = 0;
    const auto count = [](void* context, const char*) { ++*static_cast<int*>(context); };
    const int listed = vfs_list("/", count, &names);
    holds(listed == 1 ? names <= 3 : listed == -1 && names == 0, "vfs_list");
    step(listed == 1 && names == 3, "vfs_list"); // the system may end a folder early
}

// Lua reads from memory that it does not own, and releases it.
void readFromLua() {
    lua_State* const state = QZ_lua_open("fault");
    if (!step(state != nullptr, "QZ_lua_open")) {
        return;
    }
    const int loaded = QZ_lua_loadmounted(state, "twice.txt");
    holds(loaded == 0 || loaded == LUA_ERRMEM || loaded == LUA_ERRFILE, "QZ_lua_loadmounted");
    step(loaded == 0, "QZ_lua_loadmounted");
    const auto run = [](lua_State* inner) {
        lua_pop(inner, QZ_luaopen_mounted(inner));
        constexpr char kCode[] = "return mounted.list('').n, #mounted.read('twice.txt')";
        return luaL_dostring(inner, kCode) == 0 ? 0 : lua_error(inner);
    };
    step(lua_cpcall(state, run, nullptr) == 0, "mounted");
    QZ_lua_close(state);
}

} // namespace

void prepare() {
    const char* const fault = std::getenv("QZ_FAULT");
    mountsBetween = fault == nullptr || std::strncmp(fault, "open", 4) != 0;
    for (const char* name : {"Temp", "new", "between", "old"}) {
        std::filesystem::create_directory(name);
    }
    writeFile("new/twice.txt", "x=1");
    writeFile("old/twice.txt", "x=2");
    for (const std::string folder : {"new/", "old/"}) {
        std::filesystem::create_directory(folder + longFolder);
        writeFile(folder + longName, folder);
    }
}

void work() {
    vfs_init();
    if (step(vfs_mount("data", "/", 1) != 0, "vfs_mount")) {
        read("loose.txt", "loose\n", 3000);
        read("sub/packed.txt", "packed\n", 3500);
        step(vfs_unmount("data") != 0, "vfs_unmount");
    }
    if (step(vfs_mount("new", "/", 1) != 0, "vfs_mount")) {
        step(!mountsBetween || vfs_mount("between", "/", 1) != 0, "vfs_mount");
        step(vfs_mount("old", "/", 1) != 0, "vfs_mount");
        read("twice.txt", "x=1", 3);
        look();
        readFromLua();
    }
    vfs_deinit();
}

void finish() {}

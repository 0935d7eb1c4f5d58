// Archives: what is read is what is in the file, and everything can be unmounted.
#include "driver.h"

#include "VFS/Archive.h"

#include <pwd.h>
#include <unistd.h>

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

} // namespace

void prepare() {
    getpwuid(getuid()); // PhysicsFS asks for it if need be, and the C library keeps the answer
    for (const char* name : {"Temp", "new", "old"}) {
        std::filesystem::create_directory(name);
    }
    writeFile("new/twice.txt", "new");
    writeFile("old/twice.txt", "old");
}

void work() {
    vfs_init();
    if (step(vfs_mount("data", "/", 1) != 0, "vfs_mount")) {
        read("loose.txt", "loose\n", 3000);
        read("sub/packed.txt", "packed\n", 3500);
        step(vfs_unmount("data") != 0, "vfs_unmount");
    }
    if (step(vfs_mount("new", "/", 1) != 0, "vfs_mount")) {
        step(vfs_mount("old", "/", 1) != 0, "vfs_mount");
        read("twice.txt", "new", 3);
    }
    vfs_deinit();
}

void finish() {}

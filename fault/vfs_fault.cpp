// Files, directories, records: bytes reported as written are in the file, and reading gives the
// bytes of the file.
#include "driver.h"

#include "VFS/Binary.h"
#include "VFS/File.h"
#include "VFS/Locations.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr char kFile[] = "made/deep/file";
char text[20000];
char copy[sizeof text + 1];

// Whether the file begins with the first `length` bytes of the text, and has nothing else if
// `isAll`.
bool begins(const char* path, std::size_t length, bool isAll) {
    const Aside aside;
    const std::string bytes = readFile(path);
    return bytes.starts_with(std::string(text, length)) && (!isAll || bytes.size() == length);
}

void writeAndRead() {
    std::size_t written = 0;
    if (VFS_File* const file = VFS_open_write(kFile); step(file != nullptr, "VFS_open_write")) {
        written = VFS_write(file, text, sizeof text);
        step(written == sizeof text, "VFS_write");
        VFS_close(file);
        counted(begins(kFile, written, true), "bytes that VFS_write counted");
    }
    if (VFS_File* const file = VFS_open_append(kFile); step(file != nullptr, "VFS_open_append")) {
        // A file is opened even if its end cannot be found.
        if (step(VFS_tell(file) == VFS_getsize(file) && VFS_tell(file) != 0, "finding the end")) {
            step(VFS_put_string(file, "tail", 4) == 4 && VFS_put_uint32(file, 7) == 4, "VFS_put");
        }
        VFS_close(file);
        counted(begins(kFile, written, false), "what was there before");
    }
    if (VFS_File* const file = VFS_open_read(kFile); step(file != nullptr, "VFS_open_read")) {
        const std::size_t read = VFS_read(file, copy, sizeof copy);
        step(read == sizeof copy, "VFS_read");
        holds(std::memcmp(copy, text, std::min(read, written)) == 0, "other bytes were read");
        step(VFS_getsize(file) == sizeof text + 9, "VFS_getsize");
        step(VFS_seek(file, 5) == 1 && VFS_tell(file) == 5, "VFS_seek");
        VFS_close(file);
    }
}

void list() {
    int names = 0;
    const int listed = VFS_readdir(
        "data/..", [](void* seen, const char*, const char*) { ++*static_cast<int*>(seen); },
        &names);
    step(listed == 1, "VFS_readdir");
    int locations = 0;
    VFS_get_locations([](void* seen, const VFS_Location*) { ++*static_cast<int*>(seen); },
                      &locations);
    const Aside aside;
    counted(listed == 0 || names == 2 + std::distance(std::filesystem::directory_iterator("."), {}),
            "names of a directory that was listed");
}

} // namespace

void prepare() {
    for (std::size_t i = 0; i < sizeof text; ++i) {
        text[i] = static_cast<char>(i * 7 + i / 251);
    }
}

void work() {
    {
        const Aside aside;
        std::filesystem::remove_all("made");
    }
    holds(VFS_init("qz/fault", nullptr) == 1, "VFS_init");
    step(VFS_exists("data") != 0 && VFS_isdir("data") != 0, "VFS_isdir");
    if (!step(VFS_mkdir("made/deep") == 1, "VFS_mkdir")) {
        const Aside aside;
        std::filesystem::create_directories("made/deep");
    }
    writeAndRead();
    list();
    const VFS_Location location = {"name", "place"};
    if (step(VFS_add_location(&location) == 1, "VFS_add_location")) {
        holds(VFS_del_location("place") == 1, "VFS_del_location");
    }
    VFS_exit();
    step(VFS_get_mod_time("data") != 0, "VFS_get_mod_time");
    step(VFS_remove("data.zip") != 0 || !isDisturbed(), "VFS_remove");
}

void finish() {}

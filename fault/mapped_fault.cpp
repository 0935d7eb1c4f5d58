// Files as memory: mapping gives all bytes or an error; an image replaces its file or leaves it
// alone.
#include "driver.h"

#include "Shm/MappedFile.h"

#include <cstring>
#include <new>

namespace {

constexpr char kImage[] = "image";
constexpr int kSize = 100000;
const std::string kOld(70000, 'o');

// The call may throw its error, or bad_alloc if there is no memory for the error's message.
template<class Function>
void stepOrReport(const char* what, Function function) {
    stepOrThrow<misc::error>(what, [&] { stepOrThrow<std::bad_alloc>(what, function); });
}

void read() {
    alignas(misc::mmf) unsigned char room[sizeof(misc::mmf)];
    auto* const file = new (room) misc::mmf;
    if (step(file->open("data/loose.txt", true), "mmf::open")) {
        unsigned int at = 0;
        int length = 0, lines = 0;
        while (const char* const line = file->getline(at, length)) {
            lines += length == 5 && std::memcmp(line, "loose", 5) == 0;
        }
        whole(lines == 500, "lines of a mapped file");
    }
    if (step(file->open_copyaccess("data/loose.txt", 1), "mmf::open_copyaccess")) {
        file->view[0] = 'L';
        whole(file->view[1] == 'o' && file->size == 3000, "a copy");
    }
    file->close();
    file->~mmf();
}

void write() {
    writeFile(kImage, kOld);
    misc::mmf_write image(16);
    bool replaced = false;
    stepOrReport("mmf_write", [&] {
        image.Create(kImage, 1 << 20);
        int offset = 0;
        holds(image.alloc(kSize, &offset) && offset == 0, "mmf_write::alloc");
        std::memset(image.memory, 'n', kSize);
        image.Close();
        replaced = true;
    });
    const Aside aside;
    const std::string bytes = readFile(kImage);
    const bool isNew = bytes.size() == kSize && bytes.find_first_not_of('n') == std::string::npos;
    whole(replaced ? isNew : isNew || bytes == kOld, "an image that is neither old nor new");
}

} // namespace

void prepare() {}

void work() {
    read();
    write();
    std::uint64_t size = 0;
    stepOrReport("reserveMax", [&] {
        void* const block = misc::mmf_write::reserveMax(size);
        holds(block != nullptr && size >= 32u << 20, "reserveMax");
        misc::mmf_write::freeReserved(block);
    });
}

void finish() {}

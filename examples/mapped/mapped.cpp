/* Data that never changes, as an image of memory. It is made once, which may take long. Each later
 * run maps it, and starts without reading or computing anything.
 *
 *     qz_mapped stars.img
 *
 * A file that is no such image stays as it is.
 *
 * For data that changes, or that other versions of a program read, see Serial/CommonSerializer.h.
 */
#include <Core/Environment.h>
#include <Random/RandomManager.h>
#include <Shm/MappedFile.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <span>
#include <string>

namespace {

/* Plain numbers and offsets, no pointers, because the file is mapped at a different address each
 * time. A different layout needs a different mark. */
constexpr std::uint32_t kMark = 0x31525453; // "STR1"
constexpr int kAlignment = 16;

struct Header {
    std::uint32_t mark = 0;
    std::uint32_t count = 0;
    std::uint64_t first = 0; // where the stars begin
};

struct Star {
    float x, y, brightness;
};

Star* make(misc::mmf_write& image, std::uint32_t count) {
    int start = 0, first = 0;
    image.alloc(sizeof(Header), &start);
    image.alloc(static_cast<int>(count * sizeof(Star)), &first);
    const Header header{kMark, count, static_cast<std::uint64_t>(first)};
    std::memcpy(image.memory + start, &header, sizeof header);
    return reinterpret_cast<Star*>(image.memory + first);
}

void write(const char* file) {
    constexpr std::uint32_t kCount = 1000;
    misc::mmf_write image(kAlignment);
    image.Create(file, 1 << 20);
    RandomObject uniform, normal(RandomObject::kNormal);
    for (Star& star : std::span(make(image, kCount), kCount)) {
        star = {uniform.get(), uniform.get(), normal.get()};
    }
    image.Close(); // replaces the file in one step
}

/* Empty if the file is no such image; it may hold anything. */
std::span<const Star> starsOf(const misc::mmf& image) {
    Header header;
    if (image.view == nullptr || image.size < sizeof header) {
        return {};
    }
    std::memcpy(&header, image.view, sizeof header);
    const bool isWhole = header.mark == kMark && header.first % alignof(Star) == 0 &&
                         header.first <= image.size &&
                         header.count <= (image.size - header.first) / sizeof(Star);
    return isWhole
               ? std::span(reinterpret_cast<const Star*>(image.view + header.first), header.count)
               : std::span<const Star>();
}

} // namespace

int main() {
    if (SYS_argc() != 2 || *SYS_argv()[1] == '\0') {
        std::fputs("Usage: qz_mapped FILE\n", stderr);
        return 2;
    }
    const char* const file = SYS_argv()[1];
    try {
        if (!std::filesystem::exists(reinterpret_cast<const char8_t*>(file))) {
            write(file);
            std::printf("made %s\n", file);
        }
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "qz_mapped: %s\n", failure.what());
        return 1;
    }
    const misc::mmf image(file, true);
    if (starsOf(image).empty()) {
        const bool isRead = *image.error() == '\0';
        std::fprintf(stderr, "qz_mapped: %s %s\n", file,
                     isRead ? "is no image of stars; remove it to have it made anew"
                            : "cannot be read");
        return 1;
    }
    float brightest = 0;
    for (const Star& star : starsOf(image)) {
        brightest = star.brightness > brightest ? star.brightness : brightest;
    }
    std::printf("%zu stars, the brightest of %.3f\n", starsOf(image).size(),
                static_cast<double>(brightest));
    return 0;
}

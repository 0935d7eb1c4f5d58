#include "fleet_image.h"

#include "logging.h"
#include "user_error.h"

#include "Core/Log.h"
#include "Shm/MappedFile.h"
#include "VFS/File.h"

#include <cstring>

namespace {

constexpr std::uint32_t kMagic = 0x54454C46; // "FLET"
constexpr int kAlignment = 16;

struct Header {
    std::uint32_t magic = kMagic;
    std::uint32_t world = 0;
    std::uint32_t count = 0;
    std::uint32_t first = 0; // where the ferries begin
};

template<class Object>
std::uint32_t add(misc::mmf_write& image, const Object* objects, std::size_t count) {
    int offset = 0;
    image.alloc(static_cast<int>(count * sizeof(Object)), &offset);
    std::memcpy(image.memory + offset, objects, count * sizeof(Object));
    return static_cast<std::uint32_t>(offset);
}

/* Whatever the file holds: false unless all of it lies within the mapping. */
bool read(const misc::mmf& image, std::uint32_t world, std::vector<FerryImage>& fleet) {
    Header header;
    if (image.size < sizeof header) {
        return false;
    }
    std::memcpy(&header, image.view, sizeof header);
    const std::uint64_t end = header.first + std::uint64_t{header.count} * sizeof(FerryImage);
    if (header.magic != kMagic || header.world != world || end > image.size) {
        return false;
    }
    fleet.resize(header.count);
    std::memcpy(fleet.data(), image.view + header.first, fleet.size() * sizeof(FerryImage));
    return true;
}

} // namespace

void saveFleet(const std::string& file, std::uint32_t world, const std::vector<FerryImage>& fleet) {
    constexpr std::size_t kRoom = 4096;
    misc::mmf_write image(kAlignment);
    try {
        image.Create(file.c_str(), static_cast<int>(kRoom + fleet.size() * sizeof(FerryImage)));
        Header header;
        add(image, &header, 1);
        header.world = world;
        header.count = static_cast<std::uint32_t>(fleet.size());
        header.first = add(image, fleet.data(), fleet.size());
        std::memcpy(image.memory, &header, sizeof header);
        image.Close();
    } catch (const misc::error& failure) {
        throw UserError(failure.what());
    }
}

std::vector<FerryImage> loadFleet(const std::string& file, std::uint32_t world) {
    std::vector<FerryImage> fleet;
    if (!VFS_exists(file.c_str())) {
        return fleet;
    }
    misc::mmf image;
    if (!image.open(file.c_str(), true)) {
        hostLog(QZ_LOG_WARNING, "%s", image.error());
    } else if (!read(image, world, fleet)) {
        hostLog(QZ_LOG_WARNING, "%s is of another world, or damaged: ferries begin anew",
                file.c_str());
    }
    return fleet;
}

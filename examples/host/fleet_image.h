/* Where the ferries were when the host ended, for its next run. */
#ifndef QZ_HOST_FLEET_IMAGE_H
#define QZ_HOST_FLEET_IMAGE_H

#include <cstdint>
#include <string>
#include <vector>

/* Plain numbers: the file is an image of the memory, which any address is good for. */
struct FerryImage {
    std::uint32_t stop;  // of the route
    std::int32_t random; // type and offset of its random numbers
    std::int32_t randomOffset;
};

/* world: what tells one world from another. Throws UserError if the file cannot be written. */
void saveFleet(const std::string& file, std::uint32_t world, const std::vector<FerryImage>& fleet);

/* Empty if there is no such file, or it is none of that world, or is damaged. */
std::vector<FerryImage> loadFleet(const std::string& file, std::uint32_t world);

#endif

#include "directories.h"

#include "Core/Environment.h"
#include "VFS/File.h"
#include "VFS/Locations.h"

#include <algorithm>
#include <filesystem>

namespace {

constexpr char kSeparators[] = "/\\";

void addLocation(const char* name, const std::string& path) {
    const VFS_Location location = {name, path.c_str()};
    VFS_add_location(&location);
}

} // namespace

std::string systemPath(std::string path) {
    constexpr auto separator = static_cast<char>(std::filesystem::path::preferred_separator);
    std::ranges::replace(path, '\\', separator);
    return path;
}

std::string directoryOf(const std::string& path) {
    const auto separator = path.find_last_of(kSeparators);
    return separator == std::string::npos ? std::string() : path.substr(0, separator + 1);
}

std::string stemOf(const std::string& path) {
    const std::string name = path.substr(directoryOf(path).size());
    return name.substr(0, name.find_last_of('.'));
}

std::string findData() {
    const std::string program = SYS_bindir();
    // Beside the program in a package; three folders up when it was built in build/<preset>/bin.
    for (const std::string& candidate :
         {std::string("examples/data"), program + "/data", program + "/../../../examples/data"}) {
        if (VFS_isdir(candidate.c_str())) {
            return candidate;
        }
    }
    return {};
}

void chooseDirectories(const std::string& data) {
    VFS_init("qz_host", data.c_str());
    addLocation("data", systemPath(VFS_get_basedir()));
    addLocation("results", systemPath(VFS_get_writedir()));
}

// Files that close themselves.
#pragma once

#include "VFS/File.h"
#include "VFS/Locations.h"
#include "support/test.h"

namespace qz::test {

struct FileCloser {
    void operator()(VFS_File* file) const { VFS_close(file); }
};
using File = std::unique_ptr<VFS_File, FileCloser>;

inline File openRead(const std::string& path) {
    return File(VFS_open_read(path.c_str()));
}

inline File openWrite(const std::string& path) {
    return File(VFS_open_write(path.c_str()));
}

inline File openAppend(const std::string& path) {
    return File(VFS_open_append(path.c_str()));
}

// The names that VFS_readdir reports; none if it fails.
inline Lines namesIn(const std::string& directory) {
    Lines names;
    const auto keep = [](void* context, const char*, const char* name) {
        static_cast<Lines*>(context)->push_back(name);
    };
    return VFS_readdir(directory.c_str(), keep, &names) == 1 ? names : Lines{};
}

// Names and paths of the locations.
using Locations = std::vector<std::pair<std::string, std::string>>;

inline Locations allLocations() {
    Locations locations;
    const auto keep = [](void* context, const VFS_Location* location) {
        static_cast<Locations*>(context)->emplace_back(location->name, location->path);
    };
    VFS_get_locations(keep, &locations);
    return locations;
}

} // namespace qz::test

#include "directories.h"

#include "user_error.h"

#include "Core/Environment.h"
#include "VFS/Archive.h"
#include "VFS/File.h"
#include "VFS/Locations.h"
#include "VFS/Paths.h"

namespace {

constexpr char kSeparators[] = "/\\";

void addLocation(const char* name, const std::string& path) {
    const VFS_Location location = {name, path.c_str()};
    VFS_add_location(&location);
}

void mountIfThere(const std::string& directory) {
    if (VFS_isdir(directory.c_str())) {
        vfs_mount(directory.c_str(), "/", 1); // its archive too, if it has one
    }
    const std::string archive = directory + ".zip";
    // An archive that is already mounted counts as mounted.
    if (VFS_exists(archive.c_str()) && vfs_mount(archive.c_str(), "/", 1) == 0) {
        throw UserError(archive + " is damaged, or no zip archive");
    }
}

} // namespace

std::string systemPath(std::string path) {
    VFS_path_native(path.data(), path.size() + 1, path.c_str());
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
    // In a package the data is beside the program; in the tree, three folders above
    // build/<preset>/bin.
    for (const std::string& candidate :
         {std::string("examples/data"), program + "/data", program + "/../../../examples/data"}) {
        if (VFS_isdir(candidate.c_str())) {
            return candidate;
        }
    }
    return {};
}

TempDirectory::TempDirectory() : made_(VFS_mkdir("Temp") != 0) {}

TempDirectory::~TempDirectory() {
    if (made_) {
        VFS_remove("Temp"); // removes it only if it is empty
    }
}

void mountData(const std::string& data) {
    vfs_init();
    if (!data.empty()) {
        mountIfThere(data);
    }
    mountIfThere(std::string(SYS_bindir()) + "/data");
}

void chooseDirectories(const std::string& application, const std::string& data) {
    VFS_init(application.c_str(), data.c_str());
    addLocation("data", systemPath(VFS_get_basedir()));
    addLocation("results", systemPath(VFS_get_writedir()));
}

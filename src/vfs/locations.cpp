#include "VFS/Locations.h"

#include "VFS/Paths.h"
#include "core/ascii.h"
#include "core/library_log.h"
#include "platform/folders.h"
#include "vfs/platform.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <list>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace {

constexpr std::size_t kPathRoom = 256;

char baseDirectory[kPathRoom] = "./";
char writeDirectory[kPathRoom] = "./";
char tempDirectory[kPathRoom] = "./Temp/";

struct LocationRecord {
    std::string name;
    std::string path;
};

using Records = std::list<LocationRecord>; // the oldest first

struct HashIgnoringCase {
    std::size_t operator()(std::string_view text) const {
        std::size_t hash = 0;
        for (const char c : text) {
            hash = hash * 31 + static_cast<unsigned char>(core::lowerAscii(c));
        }
        return hash;
    }
};

struct EqualIgnoringCase {
    bool operator()(std::string_view a, std::string_view b) const {
        return core::equalIgnoringCase(a, b);
    }
};

struct Locations {
    Records records;
    std::unordered_map<std::string_view, Records::iterator, HashIgnoringCase, EqualIgnoringCase>
        byPath;
};

// Held while a callback gets the list, which may ask for the list again.
constinit std::recursive_mutex listMutex;
constinit Locations* locations = nullptr;

// The part of a text that a location keeps.
std::string_view cut(const char* text) {
    return {text, strnlen(text, kPathRoom - 1)};
}

// Returns false and the name of the location that has the path already. Throws std::bad_alloc.
bool addLocation(const VFS_Location& location, char (&sameName)[kPathRoom]) {
    const std::lock_guard lock(listMutex);
    if (locations == nullptr) {
        locations = new Locations;
    }
    Records added;
    added.push_back({std::string(cut(location.name)), std::string(cut(location.path))});
    const auto [place, isNew] = locations->byPath.try_emplace(added.front().path, added.begin());
    if (!isNew) {
        std::snprintf(sameName, sizeof sameName, "%s", place->second->name.c_str());
        return false;
    }
    locations->records.splice(locations->records.end(), added);
    return true;
}

bool removeLocation(const char* path) {
    const std::lock_guard lock(listMutex);
    if (locations == nullptr) {
        return false;
    }
    const auto found = locations->byPath.find(cut(path));
    if (found == locations->byPath.end()) {
        return false;
    }
    const Records::iterator record = found->second;
    locations->byPath.erase(found);
    locations->records.erase(record);
    return true;
}

void callForLocations(VFS_location_callback callback, void* context) {
    const std::lock_guard lock(listMutex);
    if (locations == nullptr) {
        return;
    }
    for (const LocationRecord& record : locations->records) {
        const VFS_Location location = {record.name.c_str(), record.path.c_str()};
        callback(context, &location);
    }
}

void endWithSeparator(char* directory) {
    std::size_t length = std::strlen(directory);
    std::replace(directory, directory + length, '/', '\\');
    if (length > 0 && directory[length - 1] != '\\' && length + 1 < kPathRoom) {
        directory[length++] = '\\';
        directory[length] = 0;
    }
}

// Appends the application's directory to the write or temporary directory.
void enterApplicationDirectory(char* directory, const char* application) {
    VFS_path_join(directory, kPathRoom, directory, application);
    endWithSeparator(directory);
}

// The application's name with a number behind its first segment, or without one if `number` is 0.
void numberedName(char* name, std::size_t size, const char* application, unsigned int number) {
    const std::size_t leading = std::strspn(application, "/\\");
    const std::size_t first = leading + std::strcspn(application + leading, "/\\");
    if (number == 0) {
        std::snprintf(name, size, "%s", application);
    } else {
        std::snprintf(name, size, "%.*s-%u%s", static_cast<int>(first), application, number,
                      application + first);
    }
}

// Another user may have made a directory of that name before, so several names are tried.
bool makeTemporaryDirectory(const char* application) {
    constexpr unsigned int kMostNumbers = 16;
    char parent[kPathRoom];
    std::memcpy(parent, tempDirectory, sizeof parent);
    for (unsigned int number = 0; number < kMostNumbers; ++number) {
        char name[kPathRoom];
        numberedName(name, sizeof name, application, number);
        std::memcpy(tempDirectory, parent, sizeof parent);
        enterApplicationDirectory(tempDirectory, name);
        if (platform::makeOwnDirectories(parent, tempDirectory)) {
            return true;
        }
    }
    return false;
}

} // namespace

extern "C" {

unsigned int VFS_init(const char* application, const char* base_hint) {
    vfs::kPlatform.get_basedir(base_hint, baseDirectory, kPathRoom);
    endWithSeparator(baseDirectory);
    vfs::kPlatform.default_writedir(writeDirectory, kPathRoom);
    enterApplicationDirectory(writeDirectory, application);
    vfs::kPlatform.mkdir(writeDirectory);
    vfs::kPlatform.default_tempdir(tempDirectory, kPathRoom);
    if (!makeTemporaryDirectory(application == nullptr ? "" : application)) {
        std::snprintf(tempDirectory, kPathRoom, ".");
        enterApplicationDirectory(tempDirectory, application);
        vfs::kPlatform.mkdir(tempDirectory);
    }
    return 1;
}

void VFS_exit(void) {
    const std::lock_guard lock(listMutex);
    delete std::exchange(locations, nullptr);
}

const char* VFS_get_basedir(void) {
    return baseDirectory;
}

const char* VFS_get_writedir(void) {
    return writeDirectory;
}

const char* VFS_get_tempdir(void) {
    return tempDirectory;
}

unsigned int VFS_add_location(const VFS_Location* location) {
    if (location == nullptr || location->name == nullptr || location->path == nullptr) {
        return 0;
    }
    try {
        char same[kPathRoom];
        if (addLocation(*location, same)) {
            return 1;
        }
        qz_logf("VFS", QZ_LOG_ERROR, R"(add_location {"%s", "%s"}: path already added as "%s")",
                location->name, location->path, same);
        return 0;
    } catch (const std::bad_alloc&) {
        qz_logf("VFS", QZ_LOG_ERROR, R"(add_location {"%s", "%s"}: not enough memory)",
                location->name, location->path);
        return 0;
    }
}

unsigned int VFS_del_location(const char* path) {
    return path != nullptr && removeLocation(path) ? 1 : 0;
}

unsigned int VFS_get_locations(VFS_location_callback callback, void* context) {
    if (callback == nullptr) {
        return 0;
    }
    callForLocations(callback, context);
    return vfs::kPlatform.get_drives(callback, context);
}

} // extern "C"

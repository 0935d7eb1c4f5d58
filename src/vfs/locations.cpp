#include "VFS/Locations.h"

#include "VFS/Paths.h"
#include "core/ascii.h"
#include "core/library_log.h"
#include "platform/folders.h"
#include "vfs/platform.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

namespace {

constexpr std::size_t kPathRoom = 256;

char baseDirectory[kPathRoom] = "./";
char writeDirectory[kPathRoom] = "./";
char tempDirectory[kPathRoom] = "./Temp/";

struct LocationRecord {
    LocationRecord* next;
    char name[kPathRoom];
    char path[kPathRoom];
};

LocationRecord* locations = nullptr;

// The link that points at the record with this path, or the last one, which is null.
LocationRecord** findLink(const char* path) {
    LocationRecord** link = &locations;
    while (*link != nullptr && !core::equalIgnoringCase((*link)->path, path)) {
        link = &(*link)->next;
    }
    return link;
}

void removeAt(LocationRecord** link) {
    LocationRecord* const record = *link;
    *link = record->next;
    delete record;
}

void endWithSeparator(char* directory) {
    std::size_t length = std::strlen(directory);
    std::replace(directory, directory + length, '/', '\\');
    if (length > 0 && directory[length - 1] != '\\' && length + 1 < kPathRoom) {
        directory[length++] = '\\';
        directory[length] = 0;
    }
}

// Below the write or temporary directory.
void enterApplicationDirectory(char* directory, const char* application) {
    VFS_path_join(directory, kPathRoom, directory, application);
    endWithSeparator(directory);
}

// The application's name with a number behind its first segment; 0 is no number.
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

// Others may have made a directory of that name first. One after the other is tried.
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
    while (locations != nullptr) {
        removeAt(&locations);
    }
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
    LocationRecord** const link = findLink(location->path);
    if (*link != nullptr) {
        qz_logf("VFS", QZ_LOG_ERROR, R"(add_location {"%s", "%s"}: path already added as "%s")",
                location->name, location->path, (*link)->name);
        return 0;
    }
    auto* record = new (std::nothrow) LocationRecord;
    if (record == nullptr) {
        qz_logf("VFS", QZ_LOG_ERROR, R"(add_location {"%s", "%s"}: not enough memory)",
                location->name, location->path);
        return 0;
    }
    record->next = nullptr;
    std::snprintf(record->name, sizeof record->name, "%s", location->name);
    std::snprintf(record->path, sizeof record->path, "%s", location->path);
    *link = record;
    return 1;
}

unsigned int VFS_del_location(const char* path) {
    LocationRecord** const link = path == nullptr ? nullptr : findLink(path);
    if (link == nullptr || *link == nullptr) {
        return 0;
    }
    removeAt(link);
    return 1;
}

unsigned int VFS_get_locations(VFS_location_callback callback, void* context) {
    if (callback == nullptr) {
        return 0;
    }
    for (const LocationRecord* record = locations; record != nullptr; record = record->next) {
        const VFS_Location location = {record->name, record->path};
        callback(context, &location);
    }
    return vfs::kPlatform.get_drives(callback, context);
}

} // extern "C"

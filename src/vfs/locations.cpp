#include "VFS/Locations.h"

#include "VFS/Paths.h"
#include "core/log.h"
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

// By bytes, whatever the locale.
char lowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalIgnoringCase(const char* a, const char* b) {
    while (*a != 0 && lowerAscii(*a) == lowerAscii(*b)) {
        ++a;
        ++b;
    }
    return lowerAscii(*a) == lowerAscii(*b);
}

// The link that points at the record with this path, or the last one, which is null.
LocationRecord** findLink(const char* path) {
    LocationRecord** link = &locations;
    while (*link != nullptr && !equalIgnoringCase((*link)->path, path)) {
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
void makeApplicationDirectory(char* directory, const char* application) {
    VFS_path_join(directory, kPathRoom, directory, application);
    endWithSeparator(directory);
    vfs::kPlatform.mkdir(directory);
}

} // namespace

extern "C" {

unsigned int VFS_init(const char* application, const char* base_hint) {
    vfs::kPlatform.get_basedir(base_hint, baseDirectory, kPathRoom);
    endWithSeparator(baseDirectory);
    vfs::kPlatform.default_writedir(writeDirectory, kPathRoom);
    makeApplicationDirectory(writeDirectory, application);
    vfs::kPlatform.default_tempdir(tempDirectory, kPathRoom);
    makeApplicationDirectory(tempDirectory, application);
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

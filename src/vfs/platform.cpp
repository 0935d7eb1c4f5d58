#include "vfs/platform.h"

#include "core/library_log.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "vfs/system_file.h"

#include <cstdio>

namespace vfs {

namespace {

constexpr char kModule[] = "VFS";

using platform::FolderStatus;

int exists(const char* path) {
    return platform::pathKind(path) == platform::PathKind::missing ? 0 : 1;
}

int isDirectory(const char* path) {
    return platform::pathKind(path) == platform::PathKind::directory ? 1 : 0;
}

struct Listing {
    VFS_readdir_callback callback;
    void* context;
    const char* directory;
};

int readDirectory(const char* path, VFS_readdir_callback callback, void* context) {
    Listing listing = {callback, context, path};
    const auto onName = [](void* opaque, const char* name) {
        const auto* to = static_cast<const Listing*>(opaque);
        to->callback(to->context, to->directory, name);
    };
    return platform::listDirectory(path, onName, &listing) ? 1 : 0;
}

int makeDirectory(const char* path) {
    return platform::makeDirectories(path) ? 1 : 0;
}

int removePath(const char* path) {
    return platform::removePath(path) ? 1 : 0;
}

struct DriveReport {
    VFS_location_callback callback;
    void* context;
};

unsigned int getDrives(VFS_location_callback callback, void* context) {
    DriveReport report = {callback, context};
    const auto onDrive = [](void* opaque, const char* name, const char* path) {
        const auto* to = static_cast<const DriveReport*>(opaque);
        const VFS_Location location = {name, path};
        to->callback(to->context, &location);
    };
    platform::listDrives(onDrive, &report);
    return 1;
}

bool useSavedGames(char* buffer, std::size_t size) {
    switch (platform::savedGamesFolder(buffer, size)) {
    case FolderStatus::ready:
        qz_logf(kModule, QZ_LOG_INFO, "Using 'Saved Games': \"%s\"", buffer);
        return true;
    case FolderStatus::unsupported:
        return false;
    default:
        qz_logf(kModule, QZ_LOG_ERROR, "Can't get 'Saved Games'");
        return false;
    }
}

void reportNoDocuments() {
    qz_logf(kModule, QZ_LOG_ERROR, "Can't get 'My Documents' folder");
}

bool useMyGames(char* buffer, std::size_t size) {
    switch (platform::myGamesFolder(buffer, size)) {
    case FolderStatus::ready:
        qz_logf(kModule, QZ_LOG_INFO, "Using 'My Games': \"%s\"", buffer);
        return true;
    case FolderStatus::notCreated:
        qz_logf(kModule, QZ_LOG_ERROR, "Can't create 'My Games' as \"%s\"", buffer);
        return false;
    default:
        reportNoDocuments();
        return false;
    }
}

bool useDocuments(char* buffer, std::size_t size) {
    if (platform::documentsFolder(buffer, size) != FolderStatus::ready) {
        reportNoDocuments();
        return false;
    }
    qz_logf(kModule, QZ_LOG_INFO, "Using 'My Documents': \"%s\"", buffer);
    return true;
}

void useCurrentDirectory(char* buffer, std::size_t size) {
    std::snprintf(buffer, size, ".");
}

void defaultWriteDirectory(char* buffer, std::size_t size) {
    if (!useSavedGames(buffer, size) && !useMyGames(buffer, size) && !useDocuments(buffer, size)) {
        useCurrentDirectory(buffer, size);
    }
}

void defaultTempDirectory(char* buffer, std::size_t size) {
    if (!platform::temporaryFolder(buffer, size)) {
        useCurrentDirectory(buffer, size);
    }
}

void baseDirectory(const char* hint, char* buffer, std::size_t size) {
    const bool found = (hint != nullptr && platform::fullPath(hint, buffer, size)) ||
                       platform::currentDirectory(buffer, size);
    if (!found) {
        useCurrentDirectory(buffer, size);
    }
}

} // namespace

const VFS_Platform kPlatform = {
    openForReading,
    openForWriting,
    openForAppending,
    exists,
    isDirectory,
    readDirectory,
    makeDirectory,
    removePath,
    platform::modificationTime,
    platform::modificationTimeNs,
    getDrives,
    defaultWriteDirectory,
    defaultTempDirectory,
    baseDirectory,
};

} // namespace vfs

// The folders that a system keeps for its users, and its drives. Paths are UTF-8 in the system's
// own notation; a folder whose path does not fit the buffer counts as unknown.
#pragma once

#include <cstddef>

namespace platform {

enum class FolderStatus {
    ready,       // it exists; its path is in the buffer
    unknown,     // the system cannot tell where it is
    notCreated,  // the path is in the buffer, but there is no such folder
    unsupported, // the system has no such folder
};

FolderStatus savedGamesFolder(char* buffer, std::size_t size);
FolderStatus myGamesFolder(char* buffer, std::size_t size);
FolderStatus documentsFolder(char* buffer, std::size_t size);

bool temporaryFolder(char* buffer, std::size_t size);
bool currentDirectory(char* buffer, std::size_t size);

// Makes a path absolute, without "." and ".." segments, whether or not there is something there.
bool fullPath(const char* path, char* buffer, std::size_t size);

// Makes the directory `path` below `parent`, for this user alone. False if a directory on the way
// from the parent belongs to another user, can be written by others, is a link or is no directory:
// somebody else may have made it first. Always true on Windows, where users have temporary folders
// of their own.
bool makeOwnDirectories(const char* parent, const char* path);

using DriveCallback = void (*)(void* context, const char* name, const char* path);

void listDrives(DriveCallback callback, void* context);

} // namespace platform

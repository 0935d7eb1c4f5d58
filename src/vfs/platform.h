// The table through which the virtual file system reaches the operating system.
#pragma once

#include "VFS/File.h"
#include "VFS/Locations.h"

#include <cstddef>
#include <cstdint>

namespace vfs {

// Paths are never null here. The last three write a directory into a buffer of `size` bytes, always
// terminated, with or without a separator at its end, as the system gives it.
struct VFS_Platform {
    VFS_File* (*open_read)(const char* path);
    VFS_File* (*open_write)(const char* path);
    VFS_File* (*open_append)(const char* path);
    int (*exists)(const char* path);
    int (*isdir)(const char* path);
    int (*readdir)(const char* path, VFS_readdir_callback callback, void* context);
    int (*mkdir)(const char* path);
    int (*remove)(const char* path);
    std::int64_t (*get_mod_time)(const char* path);
    std::int64_t (*get_mod_time_ns)(const char* path);
    unsigned int (*get_drives)(VFS_location_callback callback, void* context);
    void (*default_writedir)(char* buffer, std::size_t size);
    void (*default_tempdir)(char* buffer, std::size_t size);
    void (*get_basedir)(const char* hint, char* buffer, std::size_t size);
};

extern const VFS_Platform kPlatform;

} // namespace vfs

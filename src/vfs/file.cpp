#include "VFS/File.h"

#include "core/library_log.h"
#include "vfs/platform.h"

namespace {

bool isOpen(const VFS_File* file, const char* function) {
    if (file != nullptr) {
        return true;
    }
    qz_logf("VFS", QZ_LOG_ERROR, "%s(NULL)", function);
    return false;
}

} // namespace

extern "C" {

VFS_File* VFS_open_read(const char* path) {
    return path == nullptr ? nullptr : vfs::kPlatform.open_read(path);
}

VFS_File* VFS_open_write(const char* path) {
    return path == nullptr ? nullptr : vfs::kPlatform.open_write(path);
}

VFS_File* VFS_open_append(const char* path) {
    return path == nullptr ? nullptr : vfs::kPlatform.open_append(path);
}

size_t VFS_read(VFS_File* file, void* buffer, size_t count) {
    return isOpen(file, "VFS_read") ? file->ops->read(file, buffer, count) : 0;
}

size_t VFS_write(VFS_File* file, const void* buffer, size_t count) {
    return isOpen(file, "VFS_write") ? file->ops->write(file, buffer, count) : 0;
}

int VFS_seek(VFS_File* file, int64_t position) {
    return isOpen(file, "VFS_seek") ? file->ops->seek(file, position) : 0;
}

int64_t VFS_tell(VFS_File* file) {
    return isOpen(file, "VFS_tell") ? file->ops->tell(file) : 0;
}

int64_t VFS_getsize(VFS_File* file) {
    return isOpen(file, "VFS_getsize") ? file->ops->getsize(file) : 0;
}

void VFS_close(VFS_File* file) {
    if (file != nullptr) {
        file->ops->close(file);
    }
}

int VFS_exists(const char* path) {
    return path == nullptr ? 0 : vfs::kPlatform.exists(path);
}

int VFS_isdir(const char* path) {
    return path == nullptr ? 0 : vfs::kPlatform.isdir(path);
}

int VFS_readdir(const char* path, VFS_readdir_callback callback, void* context) {
    return path == nullptr || callback == nullptr ? 0
                                                  : vfs::kPlatform.readdir(path, callback, context);
}

int VFS_mkdir(const char* path) {
    return path == nullptr ? 0 : vfs::kPlatform.mkdir(path);
}

int VFS_remove(const char* path) {
    return path == nullptr ? 0 : vfs::kPlatform.remove(path);
}

int64_t VFS_get_mod_time(const char* path) {
    return path == nullptr ? 0 : vfs::kPlatform.get_mod_time(path);
}

int64_t VFS_get_mod_time_ns(const char* path) {
    return path == nullptr ? 0 : vfs::kPlatform.get_mod_time_ns(path);
}

} // extern "C"

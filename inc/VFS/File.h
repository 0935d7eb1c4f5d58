/* Files and directories.
 *
 * Paths are UTF-8, with "\" or "/" as separator, and are used exactly as given: relative paths
 * start at the current directory, never at a location or the base directory (VFS/Paths.h joins
 * paths). A path has at most 255 characters (UTF-16 units). On Windows a path that is longer or not
 * valid UTF-8 is passed to the ANSI functions as it is; on Linux a longer path is refused, and one
 * that is not valid UTF-8 is used like any other. A null path is a failure.
 *
 * On Windows some names have a special meaning; docs/guides/windows.md has a table. Trailing dots
 * and blanks of a name are ignored, "a.txt:notes" is a stream of a.txt that no listing shows, and
 * NUL, COM1 or on older systems nul.txt is a device in every directory. The path of a device cannot
 * be opened or made.
 *
 * Failures are told by results. A failed open for reading and a failed query log nothing, so that
 * programs can probe for files. A failed open for writing and a failed operation on a handle log
 * one ERROR line (module "VFS") that ends in the system's own words. Control characters of a path
 * are logged as "?".
 *
 * On Linux the system ends a process that writes beyond its limit on file sizes (ulimit -f), unless
 * the program ignores SIGXFSZ: then writing fails as on a full disk.
 *
 * Threads: a handle is for one thread at a time. Any threads may use different handles, and query
 * files, at once.
 */
#ifndef QZCORE_VFS_FILE_H
#define QZCORE_VFS_FILE_H

#include "Core/Export.h"

#include <stddef.h>
#include <stdint.h>

QZ_EXTERN_C_BEGIN

typedef struct VFS_FileOps VFS_FileOps;

/* An open file. What follows the first member in memory belongs to the code that opened it. */
typedef struct VFS_File {
    const VFS_FileOps* ops;
} VFS_File;

/* The operations that the functions below call; a host may make handles with operations of its own.
 */
struct VFS_FileOps {
    void (*close)(VFS_File* file);
    size_t (*read)(VFS_File* file, void* buffer, size_t count);
    size_t (*write)(VFS_File* file, const void* buffer, size_t count);
    int (*seek)(VFS_File* file, int64_t position);
    int64_t (*tell)(VFS_File* file);
    int64_t (*getsize)(VFS_File* file);
};

/* Open a file; null on failure. The caller closes the handle with VFS_close.
 *
 * VFS_open_read: the file must exist; the position is 0. VFS_open_write: the file is created or
 * emptied. VFS_open_append: the file is created if missing; the position begins at its end, and
 * VFS_seek may move it.
 *
 * If the system cannot empty the file, or cannot tell its end, an ERROR line is logged, and the
 * file is opened with its old contents, or with the position at its start.
 *
 * Only ordinary files can be opened. Directories, pipes, sockets and devices are refused at once;
 * on Windows also paths that begin with \\.\, even those of files.
 *
 * Sharing: a file that is open for writing cannot be opened for writing again, by any process that
 * uses this library; a refused open does not change the file. On Windows this holds for all
 * programs; also, a file that is open for writing cannot be opened for reading through this
 * library, a file that is open for reading cannot be opened for writing, and an open file cannot be
 * removed. On Linux readers and writers do not affect each other, and an open file can be removed.
 */
QZ_API VFS_File* VFS_open_read(const char* path);
QZ_API VFS_File* VFS_open_write(const char* path);
QZ_API VFS_File* VFS_open_append(const char* path);

/* Read or write up to `count` bytes at the position, move it, and return their number. A smaller
 * number than `count` means the end of the file (not an error), or an error, which is logged.
 * Counts and files may be larger than 4 GiB. A null file logs "VFS_read(NULL)" and so on, and
 * returns 0. */
QZ_API size_t VFS_read(VFS_File* file, void* buffer, size_t count);
QZ_API size_t VFS_write(VFS_File* file, const void* buffer, size_t count);

/* Moves the position, in bytes from the start; it may be behind the end. Returns 1, or 0 with the
 * position unchanged. */
QZ_API int VFS_seek(VFS_File* file, int64_t position);

/* Return the position and the size in bytes; 0 on failure. */
QZ_API int64_t VFS_tell(VFS_File* file);
QZ_API int64_t VFS_getsize(VFS_File* file);

/* Closes and frees the handle; null is allowed. Logs an ERROR line if the system finds only now
 * that it cannot store bytes that VFS_write has counted, for example because of a quota or a
 * network failure. */
QZ_API void VFS_close(VFS_File* file);

/* Returns non-zero if there is such a file or directory. On Windows it does so for names of devices
 * too, such as NUL, which cannot be opened. */
QZ_API int VFS_exists(const char* path);

/* Returns non-zero if there is such a directory. */
QZ_API int VFS_isdir(const char* path);

/* Called for each entry with the directory's path as it was given and the entry's name; both are
 * valid during the call only. It must return normally. */
typedef void (*VFS_readdir_callback)(void* context, const char* directory, const char* name);

/* Lists a directory, "." and ".." first, the others in the system's order. The empty path is the
 * root, on Windows that of the current drive. Names of more than 255 bytes of UTF-8, which exist
 * only on Windows, are left out.
 *
 * Returns 1; 0 if the directory cannot be listed, for example if it is missing. */
QZ_API int VFS_readdir(const char* path, VFS_readdir_callback callback, void* context);

/* Creates a directory with all its missing parents. Returns 1; 0 on failure, or if it exists
 * already, which VFS_isdir tells. */
QZ_API int VFS_mkdir(const char* path);

/* Removes a file or an empty directory; of a symbolic link the link itself. Returns non-zero on
 * success. */
QZ_API int VFS_remove(const char* path);

/* Returns when the file or directory was last written, in whole seconds since the start of 1970
 * (UTC); 0 on failure. On Windows the time is converted through local time: in the hour that is
 * repeated when daylight saving ends it can be wrong by an hour, and if the variable TZ names
 * another zone than the system's, it is wrong by the difference. */
QZ_API int64_t VFS_get_mod_time(const char* path);

/* The same in nanoseconds, without a conversion through local time. The resolution is that of the
 * file system (ext4: nanoseconds; NTFS: tenths of a microsecond; FAT: two seconds). The clock that
 * Linux uses advances once in some milliseconds, so two quick writes can give the same time. */
QZ_API int64_t VFS_get_mod_time_ns(const char* path);

QZ_EXTERN_C_END

#endif

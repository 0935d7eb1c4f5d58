/* Files and directories.
 *
 * Paths are UTF-8, with "\" or "/" as separator, and are used exactly as given: relative ones are
 * relative to the current directory, never to a location or to the base directory (VFS/Paths.h
 * joins them). A path has at most 255 characters (UTF-16 units). On Windows one that is longer or
 * not valid UTF-8 is handed to the ANSI calls as it is; on Linux a longer one is refused, and bytes
 * that are not valid UTF-8 are a name like any other. A null path is a failure.
 *
 * Windows itself reads more into a path; docs/guides/windows.md has a table. Trailing dots and
 * blanks of a name do not count there, "a.txt:notes" is a stream of a.txt that no listing shows,
 * and NUL, COM1 or on older systems nul.txt is a device in every directory. The path of a device
 * cannot be opened or made.
 *
 * Failures are results, never crashes. Probing is normal use, so a failed open for reading and a
 * failed query log nothing; a failed open for writing and a failed operation on a handle log one
 * ERROR line (module "VFS") that ends in the system's own words.
 *
 * Threads: one handle is for one thread at a time; different handles and all queries may be used
 * from any threads at once.
 */
#ifndef QZCORE_VFS_FILE_H
#define QZCORE_VFS_FILE_H

#include "Core/Export.h"

#include <stddef.h>
#include <stdint.h>

QZ_EXTERN_C_BEGIN

typedef struct VFS_FileOps VFS_FileOps;

/* An open file. What follows the first member belongs to whoever opened it. */
typedef struct VFS_File {
    const VFS_FileOps* ops;
} VFS_File;

/* What the calls below on a handle come to; a host may hand out handles with a table of its own. */
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
 * VFS_open_read: the file must exist; the position is 0.
 * VFS_open_write: the file is created or emptied.
 * VFS_open_append: the file is created if missing; the position is at its end, once: a write goes
 * to wherever VFS_seek has moved it since.
 *
 * A file that the system will not empty, or whose end it will not tell, is opened all the same
 * after an ERROR line: with its old contents, or at its start.
 *
 * Directories are refused. So is whatever else is not an ordinary file (pipes, sockets, devices),
 * at once and without waiting for another end; on Windows also what lies in the space of devices,
 * \\.\, even if it is a file.
 *
 * Sharing: a file that is open for writing cannot be opened for writing again, by any process that
 * opens it through this library; a refused open leaves its contents alone. Windows makes that rule
 * for all programs and extends it: there a file that is open for writing cannot be opened for
 * reading through this library either, nor one that is being read for writing, nor can an open file
 * be removed. On Linux readers and writers do not hinder each other and an open file can be
 * removed. */
QZ_API VFS_File* VFS_open_read(const char* path);
QZ_API VFS_File* VFS_open_write(const char* path);
QZ_API VFS_File* VFS_open_append(const char* path);

/* Read or write up to `count` bytes at the position and move it; return how many it were. Fewer
 * than asked for means the end of the file (not an error), or an error, which is logged. Counts and
 * files above 4 GiB work. A null file logs "VFS_read(NULL)" and so on, and returns 0. */
QZ_API size_t VFS_read(VFS_File* file, void* buffer, size_t count);
QZ_API size_t VFS_write(VFS_File* file, const void* buffer, size_t count);

/* Moves the position to so many bytes from the start; beyond the end is allowed. Returns 1, or 0
 * with the position unchanged. */
QZ_API int VFS_seek(VFS_File* file, int64_t position);

/* The position and the size in bytes; 0 on failure. */
QZ_API int64_t VFS_tell(VFS_File* file);
QZ_API int64_t VFS_getsize(VFS_File* file);

/* Closes and frees the handle; null is allowed. Some systems find only now that bytes which
 * VFS_write counted cannot be stored, for want of a quota or of a network, for instance: an ERROR
 * line. */
QZ_API void VFS_close(VFS_File* file);

/* Non-zero if there is such a file or directory. */
QZ_API int VFS_exists(const char* path);

/* Non-zero if there is such a directory. */
QZ_API int VFS_isdir(const char* path);

/* Called for each entry with the directory's path as it was given and the entry's name; both are
 * valid during the call only. It must return normally. */
typedef void (*VFS_readdir_callback)(void* context, const char* directory, const char* name);

/* Lists a directory, "." and ".." first, otherwise in the system's order. The empty path is the
 * root, on Windows that of the current drive. Names of more than 255 bytes of UTF-8, which only
 * Windows can have, are left out.
 *
 * Returns 1; 0 if the directory cannot be listed, a missing one for instance. */
QZ_API int VFS_readdir(const char* path, VFS_readdir_callback callback, void* context);

/* Creates a directory with all its missing parents. Returns 1, or 0, also if it exists already. */
QZ_API int VFS_mkdir(const char* path);

/* Removes a file or an empty directory; a symbolic link, not what it points at. Returns non-zero on
 * success. */
QZ_API int VFS_remove(const char* path);

/* When the file or directory was last written, in whole seconds since the start of 1970 (UTC); 0
 * on failure. Two writes within a second give the same time. On Windows the way leads through local
 * time: within the hour that is repeated when daylight saving ends the result can be an hour off,
 * and where the variable TZ names another zone than the system's, all results are off by the
 * difference. */
QZ_API int64_t VFS_get_mod_time(const char* path);

/* The same in nanoseconds, as finely as the file system has it (ext4: nanoseconds; NTFS: tenths of
 * a microsecond; FAT: two seconds), and on Windows past local time. Linux itself takes the time
 * from a clock that goes on once in some milliseconds, so two quick writes can still give the same.
 */
QZ_API int64_t VFS_get_mod_time_ns(const char* path);

QZ_EXTERN_C_END

#endif

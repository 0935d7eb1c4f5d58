/* Whole files from directories and zip archives that are mounted into one tree. The VFS_ functions
 * (VFS/File.h), and what uses them, such as Lua's io and Lua::Loader::load, do not see this tree:
 * they work on files of the system. For mounted files there are the functions of this header,
 * io::MountedStream, Lua::Loader::loadMounted, and those in Lua/State.h.
 *
 * Mounting a directory also mounts its archive, which has the same name with ".zip" appended. So
 * data can be delivered as loose files, as one archive, or as both. If both have a file, the loose
 * one is read.
 *
 * Paths of directories and archives are those of VFS/File.h. Paths within the tree are UTF-8 with
 * "/" as separator on every system. A path with "\", ":" or a segment "." or ".." names no file, so
 * no path leads out of the tree. Case matters, except in directories on Windows. On Windows the
 * name of a device (NUL, on older systems aux.lua) names no file either, not even in an archive.
 *
 * Archives may have stored and deflated entries, be zip64 archives with millions of entries, use
 * data descriptors, and have data in front, as in programs that unpack themselves. Entries are
 * found by the bytes of their names. The archive's directory is read when it is mounted. The check
 * sum of a file is compared when it is read to its end: reading a damaged file fails.
 * (io::MountedStream does not compare the sum of a stored file in which it seeks.)
 *
 * A bad entry does not affect others. Entries that are encrypted, are packed by another method, or
 * have an impossible size or place can be seen, but reading them fails, with a WARNING line that
 * tells the reason. Some entries are left out: symbolic links; names to which no path leads, or of
 * more than 1024 bytes or 64 levels; and the second of a file and a folder with the same name. Of
 * two files with the same name the last one is read. Mounting logs a WARNING line for each of
 * these, eight at most, and then their number.
 *
 * An archive is refused, with a WARNING line that tells the reason, if its directory is damaged or
 * has another number of entries than it says, if it is one of several parts, if entries overlap so
 * that they have more data than the archive, or if its names would take too much memory or time.
 * Symbolic links in directories are not followed.
 *
 * Bytes behind an archive and its comment are ignored with a WARNING line: the file may be a part
 * of a damaged larger archive, whose last entry was an archive itself.
 *
 * A mounted archive takes one descriptor, however many of its files are open, and is read even if
 * its path leads elsewhere meanwhile. On Linux it may be replaced by a new file, and is read until
 * it is unmounted; on Windows nobody can change, rename or remove it until then. Children of fork()
 * can read it, too.
 *
 * Mounted directories should only have ordinary files: on Linux opening a pipe waits for its other
 * end. A directory that was mounted by a relative path, such as "./Temp", is looked for in the
 * current directory of each moment: mount absolute paths if the program may change that.
 *
 * A failure gives a null, zero or negative result and one ERROR line, after a WARNING line if an
 * archive is the reason; the module is "VFS". Control characters of a file's path or name are
 * logged as "?". vfs_read_optional_file, vfs_get_kind and vfs_list
 * have different results for missing files and for failures, and log nothing about missing files.
 *
 * Threads: any threads may read, query and list the tree, mount and unmount at once. Mounts and
 * unmounts take turns; while one is under way, other calls may find only one of a directory and its
 * archive. vfs_init and vfs_deinit are for start-up and shut-down, one call at a time. The list of
 * mounts belongs to PhysicsFS and is process-wide. On Linux a host that uses PhysicsFS itself
 * shares the list, and must let vfs_init initialise PhysicsFS; otherwise all functions here fail.
 */
#ifndef QZCORE_VFS_ARCHIVE_H
#define QZCORE_VFS_ARCHIVE_H

#include "Core/Export.h"

#include <stdint.h>

QZ_EXTERN_C_BEGIN

/* Prepares the tree and mounts the directory "./Temp" at "/tmp/", behind other mounts; if it is
 * missing, an ERROR line is logged and nothing else happens. PhysicsFS needs a home directory: on
 * Linux that of HOME, or of the user's password entry. Without one an ERROR line is logged,
 * and the other functions fail, as they do before vfs_init. */
QZ_API void vfs_init(void);

/* Unmounts everything. Buffers that were read stay valid. Does nothing while another thread is in
 * one of these functions. Unloading the library calls it. */
QZ_API void vfs_deinit(void);

/* Mounts a directory and its archive, or the one of them that exists.
 *
 * path: of the directory, without a separator at its end, because ".zip" is appended for the
 * archive; at most 255 bytes with it. The path of an archive mounts that archive. mount_point: the
 * folder of the tree in which the files appear; null means the root. append: non-zero mounts behind
 * the other mounts, zero in front of them. A file is read from the first mount that has it.
 *
 * Returns non-zero if at least one of the two was mounted, with a DEBUG line for each. The other
 * one may have failed, for example because the archive is damaged. A path that is already mounted
 * keeps its place, even if mount_point differs, and counts as mounted; only the DEBUG line has the
 * new mount_point. */
QZ_API int vfs_mount(const char* path, const char* mount_point, int append);

/* Unmounts the directory and archive that vfs_mount mounted for this path, with a DEBUG line for
 * each. Returns non-zero if there was any. A directory or archive from which a thread reads stays
 * mounted. */
QZ_API int vfs_unmount(const char* path);

/* Reads a whole file.
 *
 * size: receives its size in bytes, 0 on failure; may be null.
 *
 * Returns a buffer of that many bytes, without a terminator, which the caller frees with
 * vfs_free_file_buffer; null on failure. An empty file is a failure, and so is one of 4 GiB or
 * more.
 *
 * If the file in the earliest mount cannot be opened, for example because no descriptor is free,
 * and the next mount has a file of the same name, that is a failure, too. If the next mount has no
 * such file, one of a later mount is read. */
QZ_API void* vfs_read_file(const char* path, uint64_t* size);

/* Reads a whole file, which may be missing.
 *
 * buffer, size: receive the buffer and the size as from vfs_read_file; null and 0 if there is none.
 * size may be null, but a null buffer is a failure.
 * An empty file is not a failure here: its buffer has no bytes, and is not null.
 *
 * Returns 1 if the file was read; 0 if there is nothing at that path, or a folder; -1 if reading
 * the file failed, or memory ran out. */
QZ_API int vfs_read_optional_file(const char* path, void** buffer, uint64_t* size);

/* Frees a buffer from the two functions above; null is allowed. */
QZ_API void vfs_free_file_buffer(void* buffer);

typedef enum vfs_kind {
    VFS_KIND_UNKNOWN = -1, /* a failure: no memory, no permission, no vfs_init, a null path */
    VFS_KIND_NONE = 0,     /* also what is neither file nor directory, such as a pipe */
    VFS_KIND_FILE = 1,
    VFS_KIND_DIRECTORY = 2 /* also the root, "" or "/", and the folders above a mount point */
} vfs_kind;

/* Returns what a path names, in the first mount that has it.
 *
 * size: receives a file's size in bytes, else 0; may be null. */
QZ_API vfs_kind vfs_get_kind(const char* path, uint64_t* size);

/* Called for each name, which is valid during the call only. It must return normally. */
typedef void (*vfs_list_callback)(void* context, const char* name);

/* Lists the names in a folder of all mounts, each name once, in the order of their bytes, without
 * "." and "..". Names with "\" or ":", and those of devices, are left out, because no path leads to
 * them.
 *
 * The names are collected first; mounting, unmounting and opening files wait meanwhile. Then the
 * callback is called without any lock: it may call all functions of this header, and the file of a
 * name may be gone by then.
 *
 * Returns 1; 0 if no mount has such a folder; -1, without calling the callback, if it is null, if
 * memory runs out, if a mount's folder cannot be listed, or if there are more than a million names.
 * If the disk fails in the middle of a folder, the list ends there, because PhysicsFS does not
 * report it. */
QZ_API int vfs_list(const char* path, vfs_list_callback callback, void* context);

QZ_EXTERN_C_END

#endif

/* Whole files from directories and zip archives that are mounted into one tree. Nothing but this
 * header's functions sees the tree: the VFS_ functions (VFS/File.h) and what is built on them,
 * Lua's io and Lua::Loader::load for example, work on files of the system. Lua/State.h has the
 * calls by which chunks, loaders and scripts read mounted files.
 *
 * Mounting a directory also mounts its archive, the name with ".zip" appended: data ships loose, as
 * one archive, or both, and no reader has to know. Where both have a file, the loose one counts.
 *
 * Paths of directories and archives are those of VFS/File.h. Paths within the tree are UTF-8 with
 * "/" as separator on every system; one with "\", ":" or a segment "." or ".." names nothing, so
 * nothing leads out of what is mounted. Case matters, except in directories on Windows. There the
 * name of a device (NUL, on older systems aux.lua) names nothing either, not even in an archive.
 *
 * Archives: stored and deflated entries, also those of zip64 archives, of which there may be
 * millions, those whose sizes stand behind their data (data descriptors: the archive's directory
 * has them, too), and data in front of the archive, as in programs that unpack themselves. Entries
 * are found by the bytes of their names. The directory is read when the archive is mounted, the
 * check sum of a file when it is read to its end: a damaged file is a failure. (io::MountedStream
 * does not compare the sum of a stored file in which it seeks.)
 *
 * One bad entry does not spoil the others. Entries that are encrypted, packed by another method, or
 * whose sizes or place cannot be are there, but reading them fails, with a WARNING line that says
 * why. Left out, with such a line when the archive is mounted, eight at most and then their number:
 * symbolic links; names that no path leads to, or of more than 1024 bytes or 64 levels; a name that
 * is a file's and a folder's, the second time. Of two files of one name the last one counts, also
 * with a line.
 *
 * An archive is refused as a whole, with a WARNING line that says why, if its directory is damaged
 * or has another number of entries than it says, if it is one of several parts, if entries overlap
 * so that more data are in them than in the archive, or if names are made to take more memory or
 * time than is their due. Symbolic links in directories are not followed.
 *
 * Bytes behind an archive and its comment are passed over with a WARNING line: the file may be what
 * is left of a larger archive, whose last file was an archive itself.
 *
 * Mount ordinary files only: on Linux opening a pipe in a mounted directory waits for its other
 * end.
 *
 * Failures are a null, zero or negative result and one ERROR line, behind a WARNING line where an
 * archive is the reason; all lines are the module's "VFS". vfs_read_optional_file, vfs_get_kind and
 * vfs_list tell what is missing from what fails, and log nothing about the first.
 *
 * Threads: the tree may be read, looked at and listed from any threads at once; so may it beside
 * mounting and unmounting, each look is then one at the tree before or after. vfs_init, vfs_deinit,
 * mounting and unmounting themselves are for start-up and shut-down, one at a time; the list of
 * what is mounted is PhysicsFS's and process-wide. On Linux a host that uses PhysicsFS itself
 * shares it, and must leave it to vfs_init to initialise it: else nothing here works.
 */
#ifndef QZCORE_VFS_ARCHIVE_H
#define QZCORE_VFS_ARCHIVE_H

#include "Core/Export.h"

#include <stdint.h>

QZ_EXTERN_C_BEGIN

/* Prepares the tree and mounts the directory "./Temp" at "/tmp/", behind what else is mounted; a
 * missing one is an ERROR line and no more than that. Until then the other functions fail. */
QZ_API void vfs_init(void);

/* Unmounts everything. Buffers that were read stay valid. Does nothing while another thread is in
 * one of these functions. The library does it when it is unloaded. */
QZ_API void vfs_deinit(void);

/* Mounts a directory and its archive, or the one of the two that is there.
 *
 * path: of the directory, without a separator at its end, because the archive's name is made from
 * it; an archive's own path mounts that. With ".zip" at most 255 bytes. mount_point: where in the
 * tree its files appear; null means the root. append: non-zero puts it behind what is mounted
 * already, zero in front. Earlier ones win.
 *
 * Returns non-zero if at least one of the two was mounted, with a DEBUG line for each that was. The
 * other one may be there as well and have failed, a damaged archive, for example. A path that is
 * mounted already stays where it is, also when another mount point is asked for, and counts as
 * mounted. */
QZ_API int vfs_mount(const char* path, const char* mount_point, int append);

/* Unmounts what vfs_mount mounted under this path, with a DEBUG line for each. Returns non-zero if
 * there was anything. A directory or archive that a thread is reading stays. */
QZ_API int vfs_unmount(const char* path);

/* Reads a whole file.
 *
 * size: receives its size in bytes, 0 on failure; may be null.
 *
 * Returns a buffer of that many bytes, without a terminator, which the caller frees with
 * vfs_free_file_buffer; null on failure. An empty file is a failure, and so is one of 4 GiB or
 * more.
 *
 * If the file that counts cannot be opened, for want of descriptors for example, and a later mount
 * has one of its name, that is a failure too; but not if a mount between the two has no such file:
 * then the later one is read. */
QZ_API void* vfs_read_file(const char* path, uint64_t* size);

/* Reads a whole file that may be missing.
 *
 * buffer, size: receive what vfs_read_file returns, null and 0 if there is none. An empty file is
 * read here, too: into a buffer of no bytes, which is not null.
 *
 * Returns 1 if the file was read; 0 if nothing or a folder has that path; -1 if there is a file and
 * reading it failed, or if memory runs out. */
QZ_API int vfs_read_optional_file(const char* path, void** buffer, uint64_t* size);

/* Frees a buffer from the two functions above; null is allowed. */
QZ_API void vfs_free_file_buffer(void* buffer);

typedef enum vfs_kind {
    VFS_KIND_UNKNOWN = -1, /* a failure: no memory, no right to look, no vfs_init, a null path */
    VFS_KIND_NONE = 0,     /* also what is neither of the others, a pipe for example */
    VFS_KIND_FILE = 1,
    VFS_KIND_DIRECTORY = 2 /* also the root, "" or "/", and what leads to a mount point */
} vfs_kind;

/* What a path names, in the earliest of the mounts that have it.
 *
 * size: receives a file's size in bytes, else 0; may be null. */
QZ_API vfs_kind vfs_get_kind(const char* path, uint64_t* size);

/* Called for each name, which is valid during the call only. It must return normally. */
typedef void (*vfs_list_callback)(void* context, const char* name);

/* Lists a folder: the names in it of all mounts, each name once, in the order of their bytes,
 * without "." and "..". Names with "\" or ":", or of devices, are left out: no path leads to them.
 *
 * The names are collected first, while mounting, unmounting and opening files wait. Then the
 * callback is called, outside of all locks: it may use all functions of this header, and what it is
 * told of may be gone.
 *
 * Returns 1; 0 if no mount has such a folder; -1, without having called back, if memory runs out,
 * if a mount's folder cannot be listed, or if there are more than a million names. A disk that
 * fails in the middle of a folder ends it there: PhysicsFS does not tell. */
QZ_API int vfs_list(const char* path, vfs_list_callback callback, void* context);

QZ_EXTERN_C_END

#endif

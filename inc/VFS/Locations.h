/* Three standard directories for a program's files, and a list of named locations to offer to a
 * user.
 *
 * Threads: the directories and the list are process-wide. Any thread may call the functions for the
 * list, at any time. Any thread may call the getters of the directories while VFS_init does not
 * run; normally the host's main thread calls it, once.
 */
#ifndef QZCORE_VFS_LOCATIONS_H
#define QZCORE_VFS_LOCATIONS_H

#include "Core/Export.h"

#include <stddef.h>

QZ_EXTERN_C_BEGIN

/* Chooses the base, write and temporary directories and creates the last two. A second call chooses
 * again. The list of locations does not change.
 *
 * application: the application's own folder in the write and temporary directories, UTF-8, one or
 *   several segments; null or empty means those directories themselves.
 * base_hint: the base directory, relative to the current one; null, empty or unusable means the
 *   current directory. It is neither created nor checked.
 *
 * The write directory is in the first of these directories that exists or can be created:
 *
 *                    Windows                       Linux
 *   Saved Games      the known folder              $XDG_DATA_HOME, else ~/.local/share
 *   My Games         below the documents folder    below the XDG documents folder, else ~/Documents
 *   My Documents     the documents folder          that folder itself
 *   "."
 *
 * The choice is logged (module "VFS"). The temporary directory is in that of the system: on Windows
 * GetTempPath, on Linux $TMPDIR, else /tmp. On Linux variables with a relative path are ignored,
 * and home is $HOME, else that of the password database.
 *
 * On Linux the temporary directory is made for the user alone; one that the user made before keeps
 * its permissions, so that others may be able to read it. If another user has made a directory or
 * link of that name, or others may write to it, a number is appended to the first segment of the
 * application's name ("game-1" to "game-15"); if all are taken, the directory is in ".".
 *
 * Each directory is absolute, unless it is in ".", and ends in "\", unless it has 255 bytes without
 * it: then no file's path fits either. A directory of more than 255 bytes is not used; an
 * application name that makes it longer is left out. Failure to create the directories is not
 * reported.
 *
 * Always returns 1. */
QZ_API unsigned int VFS_init(const char* application, const char* base_hint);

/* Empties the list of locations. The directories keep their values. */
QZ_API void VFS_exit(void);

/* Return the directories: "./", "./" and "./Temp/" before VFS_init. Never null; the text is valid
 * until the next VFS_init. */
QZ_API const char* VFS_get_basedir(void);
QZ_API const char* VFS_get_writedir(void);
QZ_API const char* VFS_get_tempdir(void);

/* A location: the name to show, and the path. */
typedef struct VFS_Location {
    const char* name;
    const char* path;
} VFS_Location;

/* Adds a copy of a location at the end of the list. Both texts are cut at 255 bytes; the path is
 * not changed otherwise. Two locations may have the same name, but not the same path; the case of
 * ASCII letters in it is ignored.
 *
 * Returns 1; 0 if a text is null, or, after an ERROR line, if the path is in the list or there is
 * no memory. */
QZ_API unsigned int VFS_add_location(const VFS_Location* location);

/* Removes the location with this path; the case of ASCII letters is ignored. Returns 1, or 0 if
 * there is none. */
QZ_API unsigned int VFS_del_location(const char* path);

/* Called for each location; the texts are valid during the call only. It must return normally and
 * must not change the list. Other threads that use the list wait for it, so it must not wait for
 * them. */
typedef void (*VFS_location_callback)(void* context, const VFS_Location* location);

/* Calls the callback for each location of the list, oldest first, and then for each drive.
 *
 * On Windows a drive has the path "C:\" and the name "C:"; the name of a fixed drive is followed by
 * a space and its label, if it has one. On Linux the drives are the mounted file systems of real
 * devices (no images, no optical discs), the root first, each device once and at most 64: the name
 * is the mount point as the system writes it ("/home"), the path is the same in the library's
 * notation with a separator at its end, \home\.
 *
 * The result has no meaning. */
QZ_API unsigned int VFS_get_locations(VFS_location_callback callback, void* context);

QZ_EXTERN_C_END

#endif

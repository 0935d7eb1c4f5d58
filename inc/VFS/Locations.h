/* Where the virtual file system's files are: three standard directories, chosen once, and a list of
 * named locations to offer to a user.
 *
 * Threads: the directories and the list are process-wide and not locked. VFS_init, VFS_exit,
 * VFS_add_location and VFS_del_location must not run at the same time as each other or as
 * VFS_get_locations; normally the host's main thread calls them. The getters may be called from any
 * thread while VFS_init does not run.
 */
#ifndef QZCORE_VFS_LOCATIONS_H
#define QZCORE_VFS_LOCATIONS_H

#include "Core/Export.h"

#include <stddef.h>

QZ_EXTERN_C_BEGIN

/* Chooses the base, write and temporary directories and creates the last two. A second call chooses
 * again. The list of locations is left alone.
 *
 * application: the application's own folder below the write and temporary directories, UTF-8, may
 *   have several segments; null or empty means those directories themselves.
 * base_hint: the base directory, taken relative to the current one; null, empty or unusable means
 *   the current directory. It is neither created nor looked at.
 *
 * The write directory lies in the first of these that is to be had, created if missing:
 *
 *                    Windows                       Linux
 *   Saved Games      the known folder              $XDG_DATA_HOME, else ~/.local/share
 *   My Games         below the documents folder    below the XDG documents folder, else ~/Documents
 *   My Documents     the documents folder          that folder itself
 *   "."
 *
 * and the log (module "VFS") tells which it was. The temporary directory lies in the system's: on
 * Windows what GetTempPath says, on Linux $TMPDIR, else /tmp. Variables with a relative path are
 * ignored on Linux; home is $HOME, else what the password database says.
 *
 * The temporary directory on Linux belongs to the user alone. Where somebody else has made one of
 * that name, or a link, or where others may write to it, a number goes behind the first segment of
 * the application's name ("game-1" to "game-15"); if all are taken it lies in ".".
 *
 * Each directory ends in "\" and is absolute unless "." was all there was. What does not fit in 255
 * bytes counts as not to be had; an application name that does not fit is left out. Failure to
 * create the directories is not reported.
 *
 * Always returns 1. */
QZ_API unsigned int VFS_init(const char* application, const char* base_hint);

/* Empties the list of locations. The directories keep their values. */
QZ_API void VFS_exit(void);

/* The directories: "./", "./" and "./Temp/" before VFS_init. Never null; the text changes with the
 * next VFS_init. */
QZ_API const char* VFS_get_basedir(void);
QZ_API const char* VFS_get_writedir(void);
QZ_API const char* VFS_get_tempdir(void);

/* A location: what to show and where it is. */
typedef struct VFS_Location {
    const char* name;
    const char* path;
} VFS_Location;

/* Adds a location at the end of the list, as a copy cut at 255 bytes each; the path is kept exactly
 * as it is given. Two locations may share a name but not a path, whatever the case of its ASCII
 * letters.
 *
 * Returns 1; 0 if a text is null, or after an ERROR line if the path is there already or memory is
 * short. */
QZ_API unsigned int VFS_add_location(const VFS_Location* location);

/* Removes the location with this path, whatever the case of its ASCII letters. It is the path that
 * counts, never the name. Returns 1, or 0 if there is none. */
QZ_API unsigned int VFS_del_location(const char* path);

/* Called for each location; the texts are valid during the call only. It must return normally and
 * must not change the list. */
typedef void (*VFS_location_callback)(void* context, const VFS_Location* location);

/* Calls back for each location of the list, oldest first, and then for each drive.
 *
 * On Windows a drive letter has the path "C:\" and the name "C:"; after the name of a fixed drive
 * stand a space and its label, if it has one. On Linux the drives are the mounted file systems of
 * real devices (no images, no optical discs), the root first, each device once and at most 64: the
 * name is the mount point as the system writes it ("/home"), the path the same in the library's
 * notation with a separator at its end, \home\.
 *
 * The result carries no meaning. */
QZ_API unsigned int VFS_get_locations(VFS_location_callback callback, void* context);

QZ_EXTERN_C_END

#endif

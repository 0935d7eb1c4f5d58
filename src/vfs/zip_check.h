// Judges an archive before PhysicsFS mounts it, because PhysicsFS takes an archive at its word:
// there are zip files that make it write past its buffers, end the process by an assertion, go in
// circles, or recurse until the stack is used up.
#pragma once

namespace vfs {

// True for a zip archive that is safe to mount: its directory can be walked to its end and has
// entries of plausible sizes, with names of sensible length and depth, and no symbolic links. False
// also if there is no such file or if it is something else.
bool isSoundZip(const char* path);

} // namespace vfs

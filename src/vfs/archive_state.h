// State that mounting and reading share.
#pragma once

#include "core/gate.h"

#include <atomic>

namespace vfs {

inline constexpr char kArchiveModule[] = "VFS";

// Open while PhysicsFS is initialised. It cannot be closed while a thread is inside, so PhysicsFS
// is not taken down under a thread that still reads.
extern constinit core::Gate archiveGate;

// How often an allocation for PhysicsFS has failed.
extern constinit std::atomic<unsigned> archiveShortages;

// Incremented when a mount or unmount begins and when it ends: odd while one is under way.
extern constinit std::atomic<unsigned> archiveChanges;

} // namespace vfs

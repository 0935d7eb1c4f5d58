// What mounting and reading share.
#pragma once

#include "core/gate.h"

#include <atomic>

namespace vfs {

inline constexpr char kArchiveModule[] = "VFS";

// Open while PhysicsFS is up, which cannot be taken down under a thread that still reads.
extern constinit core::Gate archiveGate;

// How often PhysicsFS has asked for memory in vain.
extern constinit std::atomic<unsigned> archiveShortages;

// Raised when a mount or unmount begins and when it ends: odd while one is under way.
extern constinit std::atomic<unsigned> archiveChanges;

} // namespace vfs

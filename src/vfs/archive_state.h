// State that mounting and reading share.
#pragma once

#include "core/gate.h"
#include "platform/thread.h"

#include <atomic>

namespace vfs {

inline constexpr char kArchiveModule[] = "VFS";

// Open while PhysicsFS is initialised. It cannot be closed while a thread is inside, so PhysicsFS
// is not taken down under a thread that still reads.
extern constinit core::Gate archiveGate;

// A visit for one call. PhysicsFS holds a lock during its calls, which a thread that was cancelled
// in one would keep for ever.
class ArchiveVisit {
public:
    explicit operator bool() const { return static_cast<bool>(visit_); }

private:
    const platform::NoCancellation guard_;
    const core::Gate::Visit visit_{archiveGate};
};

// How often an allocation for PhysicsFS has failed.
extern constinit std::atomic<unsigned> archiveShortages;

// Incremented when PhysicsFS is started, or a mount or unmount begins, and when that ends: odd
// while one is under way.
extern constinit std::atomic<unsigned> archiveChanges;

} // namespace vfs

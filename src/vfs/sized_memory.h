// Blocks of the default pool that keep their own sizes, so callers need not.
#pragma once

#include <cstddef>

namespace vfs {

// Null if memory runs out.
void* allocateSized(std::size_t size);

// Resizes a block, which may be null. Null if memory runs out, and then the block stays as it was.
void* reallocateSized(void* block, std::size_t size);

// The block may be null.
void releaseSized(void* block);

// The same for a caller that often allocates and frees the same few small blocks, as PhysicsFS does
// for every file: some freed blocks are kept for reuse. Any thread may call; keeping and reusing
// blocks never waits for another thread.
void* allocateRecycled(std::size_t size);
void releaseRecycled(void* block);

// Gives the kept blocks back to the pool.
void dropRecycled();

} // namespace vfs

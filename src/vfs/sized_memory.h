// Blocks of the default pool for those who do not remember the sizes of theirs: each block does.
#pragma once

#include <cstddef>

namespace vfs {

// Null if memory runs out.
void* allocateSized(std::size_t size);

// Resizes a block, which may be null. Null if memory runs out, and then the block stays as it was.
void* reallocateSized(void* block, std::size_t size);

// The block may be null.
void releaseSized(void* block);

// The same for somebody who allocates and frees the same few small blocks all the time, as
// PhysicsFS does for every file: some that were freed are kept at hand. Never waits, from any
// thread.
void* allocateRecycled(std::size_t size);
void releaseRecycled(void* block);

// Gives the pool back what is kept.
void dropRecycled();

} // namespace vfs

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

} // namespace vfs

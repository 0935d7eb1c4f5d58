// The pool from which all states allocate.
#pragma once

namespace core {
class MemoryPool;
}

namespace lua {

// Opens the pool and its watch "Lua". If there is no memory for the pool, no state can be opened.
void createPool();

// Removes the watch and closes the pool. A pool in which a state still lives is kept.
void destroyPool();

core::MemoryPool& pool();

} // namespace lua

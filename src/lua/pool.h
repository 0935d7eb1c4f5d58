// The pool from which all states allocate.
#pragma once

namespace core {
class MemoryPool;
}

namespace lua {

// Opens the pool and its watch "Lua". Without memory for it no state opens.
void createPool();

// Removes the watch and closes the pool; a pool in which a state still lives stays.
void destroyPool();

core::MemoryPool& pool();

} // namespace lua

// The tables that random objects read by default.
#pragma once

class RandomManager;

namespace random_tables {

// The first call makes the manager; it lives until the library is unloaded. Any thread may call.
// Throws std::bad_alloc.
RandomManager& defaultManager();

} // namespace random_tables

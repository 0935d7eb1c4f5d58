// The tables that random objects read unless told otherwise.
#pragma once

class RandomManager;

namespace random_tables {

// Made by the first call, and kept until the library is unloaded. Any thread may call it. Throws
// std::bad_alloc.
RandomManager& defaultManager();

} // namespace random_tables

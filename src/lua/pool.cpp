#include "lua/pool.h"

#include "Core/Watch.h"
#include "core/decimal.h"
#include "core/memory_pool.h"

#include <cstdio>

namespace lua {

namespace {

constexpr char kWatch[] = "Lua";

constinit core::MemoryPool thePool;

std::size_t printFootprint(unsigned int /*mode*/, char* buffer, std::size_t size, void* /*data*/) {
    const double mebibytes = static_cast<double>(thePool.footprint()) / 1048576.0;
    return static_cast<std::size_t>(
        std::snprintf(buffer, size, "Memory: %sMB", core::Fixed(mebibytes, 1).text()));
}

} // namespace

void createPool() {
    thePool.open();
    QZ_watch_set(kWatch, printFootprint, nullptr);
}

void destroyPool() {
    QZ_watch_reset(kWatch);
    thePool.close();
}

core::MemoryPool& pool() {
    return thePool;
}

} // namespace lua

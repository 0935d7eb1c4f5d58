#include "world.h"

#include "Lua/Loader.h"

#include <algorithm>

namespace {

constexpr std::size_t kColumns = 128; // and as many rows, with the wall around
constexpr Cell kNowhere = 0;          // a corner of that wall

} // namespace

World loadWorld(const std::string& file) try {
    World world{std::vector<bool>(kColumns * kColumns, true), {}, {}};
    Lua::Loader loader;
    loader.load(file, "world");
    loader.trackReads();
    loader.beginSubtable("map"); // what is left out, or too much, is a wall
    for (int row = 1; row < static_cast<int>(kColumns) - 1 && loader.hasEntry(row); ++row) {
        const std::string cells = loader.getString(row);
        for (std::size_t column = 0; column < std::min(cells.size(), kColumns - 2); ++column) {
            if (cells[column] != '#') {
                const std::size_t cell = static_cast<std::size_t>(row) * kColumns + column + 1;
                world.floor.push_back(static_cast<Cell>(cell));
                world.isWall[cell] = false;
            }
        }
    }
    loader.endSubtable();
    loader.beginSubtable("units");
    std::string name;
    for (loader.beginSubtables(); loader.nextSubtable(name);) {
        world.units.push_back({name, loader.getDouble("speed", 0.01, 100),
                               loader.getDouble("size", 0.01, 0.5),
                               loader.getDouble("radius", 0, 1000)});
    }
    loader.endSubtable();
    for (const std::string& entry : loader.getUnread()) {
        throw Lua::LoaderException(entry + " is unknown, or one too many");
    }
    if (world.floor.empty() || world.units.empty()) {
        throw Lua::LoaderException("world has no units, or its map no floor");
    }
    std::ranges::sort(world.units, {}, &Unit::name); // Lua's order differs from run to run
    return world;
} catch (const Lua::LoaderException& mistake) {
    throw std::runtime_error(file + ": " + mistake.what());
}

Point World::centre(Cell cell) {
    return {static_cast<double>(cell % kColumns) + 0.5, static_cast<double>(cell / kColumns) + 0.5};
}

/* Breadth-first from the end, so that each cell knows the next cell of its way. */
Way World::findWay(Cell from, Cell to) const {
    Way next(isWall.size(), kNowhere);
    Way open{to};
    next[to] = to;
    for (std::size_t i = 0; i < open.size() && next[from] == kNowhere; ++i) {
        const std::size_t cell = open[i];
        for (const std::size_t other : {cell - 1, cell + 1, cell - kColumns, cell + kColumns}) {
            if (!isWall[other] && next[other] == kNowhere) {
                next[other] = static_cast<Cell>(cell);
                open.push_back(static_cast<Cell>(other));
            }
        }
    }
    Way way(next[from] != kNowhere ? 1 : 0, from);
    while (!way.empty() && way.back() != to) {
        way.push_back(next[way.back()]);
    }
    return way;
}

/* The map with its ways, and the kinds of units, as a Lua file describes them. */
#ifndef QZ_SERVER_WORLD_H
#define QZ_SERVER_WORLD_H

#include <cstdint>
#include <string>
#include <vector>

struct Point {
    double x, y;
    bool operator==(const Point&) const = default;
};

using Cell = std::uint16_t; // row by row, with a wall around
using Way = std::vector<Cell>;

struct Unit {
    std::string name;
    double speed;  // cells a second
    double size;   // distance to the middle of a cell at which it turns
    double radius; // distance at which it hears others, in cells
};

struct World {
    std::vector<bool> isWall;
    std::vector<Cell> floor; // one or more
    std::vector<Unit> units; // one or more

    static Point centre(Cell cell);
    /* A shortest way, both ends included; empty if there is none. Any threads may call it at once.
     */
    Way findWay(Cell from, Cell to) const;
};

/* Reads a Lua file. Throws std::runtime_error, whose text names the file and the entry. */
World loadWorld(const std::string& file);

#endif

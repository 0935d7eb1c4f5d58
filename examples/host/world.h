/* What the flocks fly around, and who flies. */
#ifndef QZ_HOST_WORLD_H
#define QZ_HOST_WORLD_H

#include <string>
#include <vector>

struct lua_State;

struct Point {
    double x, y;
};

struct Circle {
    Point centre;
    double radius;
};

struct Island {
    std::string name;
    Circle shore;
};

struct Flock {
    std::string name;
    std::string colour;
    int count;
    Circle start;
    double leastSpeed, greatestSpeed;
    std::vector<Point> route;
};

struct World {
    std::string file;
    std::string title;
    int width, height;
    int seed;
    std::string palette;
    std::vector<Island> islands;
    std::vector<Flock> flocks;
};

/* Reads the table `world` of a Lua file. Throws UserError. */
World loadWorld(const std::string& file);

/* Leaves the world in a script's state as the table `host.world`; `host` is there already. Throws
 * Lua::LoaderException if memory runs out. */
void giveWorld(lua_State* L, const World& world);

#endif

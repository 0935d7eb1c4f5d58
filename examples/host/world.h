/* The world: islands, flocks and ferries. */
#ifndef QZ_HOST_WORLD_H
#define QZ_HOST_WORLD_H

#include "geometry.h"

#include <string>
#include <vector>

struct lua_State;

struct Island {
    std::string name;
    Circle shore;
    int berths; // of its harbour; 0 if it has none
};

struct Flock {
    std::string name;
    std::string colour;
    int count;
    Circle start;
    double leastSpeed, greatestSpeed;
    std::vector<Point> route;
};

struct FerryData {
    std::string name;
    double speed;                   // in points a second
    std::vector<std::string> route; // two islands or more, all with harbours
};

struct World {
    std::string file;
    std::string title;
    int width, height;
    int seed;
    std::string palette;
    std::vector<Island> islands;
    std::vector<Flock> flocks;
    std::vector<FerryData> ferries;
};

/* Reads the table `world` of a Lua file. Throws UserError. */
World loadWorld(const std::string& file);

/* Puts the world into a script's state as the table `host.world`; `host` must exist already. Throws
 * Lua::LoaderException if memory runs out. */
void giveWorld(lua_State* L, const World& world);

#endif

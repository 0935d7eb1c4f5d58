#include "world.h"

#include "letters.h"
#include "user_error.h"

#include "Lua/Loader.h"

#include <algorithm>
#include <cstdio>

namespace {

/* A loader that also checks whether values make sense. */
class WorldReader {
public:
    explicit WorldReader(World& world) : world_(world) {}

    void read() {
        loader_.load(world_.file, "world");
        world_.title = loader_.getString("title");
        world_.width = loader_.getInt("width", 200, 10000);
        world_.height = loader_.getInt("height", 200, 10000);
        world_.seed = loader_.getInt("seed", 1, 2147483646);
        world_.palette = loader_.getString("palette");
        for (loader_.beginArray("islands"); loader_.nextArray();) {
            world_.islands.push_back({loader_.getString("name"), circle(), berths()});
        }
        loader_.endSubtable();
        for (loader_.beginArray("flocks"); loader_.nextArray();) {
            world_.flocks.push_back(flock());
        }
        loader_.endSubtable();
        if (loader_.hasEntry("ferries")) {
            readFerries();
        }
    }

private:
    Circle circle() const {
        return {{loader_.getDouble("x", 0, world_.width), loader_.getDouble("y", 0, world_.height)},
                loader_.getDouble("radius", 1, 1000)};
    }

    int berths() const { return loader_.hasEntry("berths") ? loader_.getInt("berths", 1, 100) : 0; }

    void readFerries() {
        if (std::ranges::count_if(
                world_.islands, [](const Island& one) { return one.berths > 0; }) > kMostHarbours) {
            throw Lua::LoaderException("world.islands: too many of them have berths");
        }
        for (loader_.beginArray("ferries"); loader_.nextArray();) {
            if (world_.ferries.size() == kMostFerries) {
                throw Lua::LoaderException("world.ferries: these are too many");
            }
            world_.ferries.push_back(ferry());
        }
        loader_.endSubtable();
    }

    FerryData ferry() {
        FerryData ferry{loader_.getString("name"), loader_.getDouble("speed", 1, 1000), {}};
        loader_.beginSubtable("route");
        for (int stop = 1; loader_.hasEntry(stop); ++stop) {
            ferry.route.push_back(loader_.getString(stop));
            checkHarbour(ferry.route.back(), stop);
        }
        if (ferry.route.size() < 2) {
            throw Lua::LoaderException(loader_.getCurrentPath() + " has less than two stops");
        }
        checkRoom(ferry.route.front());
        loader_.endSubtable();
        return ferry;
    }

    const Island* findHarbour(const std::string& name) const {
        const auto found = std::ranges::find_if(
            world_.islands, [&](const Island& one) { return one.berths > 0 && one.name == name; });
        return found == world_.islands.end() ? nullptr : &*found;
    }

    void checkHarbour(const std::string& name, int stop) const {
        if (findHarbour(name) == nullptr) {
            throw Lua::LoaderException(loader_.getCurrentPath() + "." + std::to_string(stop) +
                                       ": no island '" + name + "' has berths");
        }
    }

    /* A harbour needs a berth for each ferry that begins there. */
    void checkRoom(const std::string& harbour) const {
        const auto others = std::ranges::count_if(
            world_.ferries, [&](const FerryData& one) { return one.route.front() == harbour; });
        if (others == findHarbour(harbour)->berths) {
            throw Lua::LoaderException(loader_.getCurrentPath() + ": no berth is left in '" +
                                       harbour + "'");
        }
    }

    Flock flock() {
        Flock flock{};
        flock.name = loader_.getString("name");
        flock.colour = loader_.getString("colour");
        flock.count = loader_.getInt("count", 1, 5000);
        loader_.beginSubtable("start");
        flock.start = circle();
        loader_.endSubtable();
        loader_.beginSubtable("speed");
        flock.leastSpeed = loader_.getDouble("least", 0.1, 20);
        flock.greatestSpeed = loader_.getDouble("greatest", flock.leastSpeed, 20);
        loader_.endSubtable();
        for (loader_.beginArray("route"); loader_.nextArray();) {
            flock.route.push_back(
                {loader_.getDouble(1, 0, world_.width), loader_.getDouble(2, 0, world_.height)});
        }
        loader_.endSubtable();
        if (flock.route.empty()) {
            loader_.reject("route", "is empty");
        }
        return flock;
    }

    World& world_;
    Lua::Loader loader_;
};

/* Writes the structures into a table. */
class WorldWriter {
public:
    explicit WorldWriter(lua_State* L) : loader_(L) {}

    void write(const World& world) {
        loader_.load("host");
        loader_.createSubtable("world");
        loader_.setString("file", world.file);
        loader_.setString("title", world.title);
        loader_.setInt("width", world.width);
        loader_.setInt("height", world.height);
        loader_.setInt("seed", world.seed);
        loader_.setString("palette", world.palette);
        array("islands", world.islands, [this](const Island& island) {
            loader_.setString("name", island.name);
            circle(island.shore);
        });
        array("flocks", world.flocks, [this](const Flock& one) { flock(one); });
        loader_.endSubtable();
        loader_.endSubtable();
    }

private:
    template<class Element, class Write>
    void array(const char* key, const std::vector<Element>& elements, Write writeElement) {
        loader_.createSubtable(key);
        int index = 0;
        for (const Element& element : elements) {
            loader_.createSubtable(++index);
            writeElement(element);
            loader_.endSubtable();
        }
        loader_.endSubtable();
    }

    void point(const Point& point) {
        loader_.setDouble("x", point.x);
        loader_.setDouble("y", point.y);
    }

    void circle(const Circle& circle) {
        point(circle.centre);
        loader_.setDouble("radius", circle.radius);
    }

    void flock(const Flock& flock) {
        loader_.setString("name", flock.name);
        loader_.setString("colour", flock.colour);
        loader_.setInt("count", flock.count);
        loader_.createSubtable("start");
        circle(flock.start);
        loader_.endSubtable();
        loader_.createSubtable("speed");
        loader_.setDouble("least", flock.leastSpeed);
        loader_.setDouble("greatest", flock.greatestSpeed);
        loader_.endSubtable();
        array("route", flock.route, [this](const Point& one) { point(one); });
    }

    Lua::Loader loader_;
};

} // namespace

World loadWorld(const std::string& file) {
    World world{};
    world.file = file;
    try {
        WorldReader(world).read();
    } catch (const Lua::LoaderException& mistake) {
        throw UserError(file + ": " + mistake.what());
    }
    if (world.flocks.empty()) {
        throw UserError(file + ": world.flocks is empty");
    }
    return world;
}

void giveWorld(lua_State* L, const World& world) {
    WorldWriter(L).write(world);
}

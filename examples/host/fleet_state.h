/* The changing part of a world, for the host's next run. */
#ifndef QZ_HOST_FLEET_STATE_H
#define QZ_HOST_FLEET_STATE_H

#include "geometry.h"

#include "Common/FSM.h"
#include "Math/Predictor.h"
#include "Random/RandomManager.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Common {
class CommonSerializer;
}

struct FerryState {
    std::uint32_t leg = 0; // of the route: the ferry is at its start, or on the way to its end
    Common::FSM::Snapshot machine;
    Point position{};
    Point velocity{};
    RandomObject random; // for the length of its stays
    double stay = 0;
    double untilReport = 0;
    double waited = 0; // seconds since the state began, or since the ferry last asked
    std::vector<Point> course;
    std::uint32_t reached = 0; // points of the course

    void serialize(Common::CommonSerializer& serializer);
};

struct HarbourState {
    Common::FSM::Snapshot machine;
    std::uint32_t asking = 0; // address of the ferry that waits for an answer

    void serialize(Common::CommonSerializer& serializer);
};

/* A ferry as the lookout expects it. */
struct Track {
    Math::Predictor3 x, y;

    void serialize(Common::CommonSerializer& serializer);
};

struct LookoutState {
    std::map<std::uint32_t, Track> tracks; // by the addresses of the ferries
    double tick = 0;                       // a frame, in seconds
    std::int32_t reports = 0;
    std::int32_t predicted = 0;
    double error = 0;

    void serialize(Common::CommonSerializer& serializer);
};

struct FleetState {
    std::uint32_t world = 0; // identifies the world
    std::uint32_t frames = 0;
    double time = 0;
    std::int32_t arrivals = 0;
    std::vector<HarbourState> harbours;
    std::vector<FerryState> ferries;
    LookoutState lookout;

    void serialize(Common::CommonSerializer& serializer);
};

/* Replaces the file in one step: it has either the old fleet or all of the new one. Throws
 * UserError if it cannot be written. */
void saveFleet(const std::string& file, FleetState& fleet);

/* Empty if there is no such file. Throws UserError if the file cannot be read. */
std::optional<FleetState> loadFleet(const std::string& file);

/* Equal fleets have equal fingerprints, on every system. */
std::uint32_t fingerprint(FleetState& fleet);

#endif

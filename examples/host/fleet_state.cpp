#include "fleet_state.h"

#include "user_error.h"

#include "Core/Hash.h"
#include "Globals.h"
#include "IO/FileStream.h"
#include "IO/MemoryStream.h"
#include "Serial/Containers.h"
#include "VFS/File.h"

void FerryState::serialize(Common::CommonSerializer& serializer) {
    serializer.transfer("leg", leg);
    serializer.transfer("machine", machine);
    serializer.transfer("position", position);
    serializer.transfer("velocity", velocity);
    serializer.transfer("random", random);
    serializer.transfer("stay", stay);
    serializer.transfer("untilReport", untilReport);
    serializer.transfer("waited", waited);
    serializer.transfer("course", course);
    serializer.transfer("reached", reached);
    if (reached > course.size()) {
        serializer.fail("it has reached more of its course than there is");
    }
}

void HarbourState::serialize(Common::CommonSerializer& serializer) {
    serializer.transfer("machine", machine);
    serializer.transfer("asking", asking);
}

void Track::serialize(Common::CommonSerializer& serializer) {
    serializer.transfer("x", x);
    serializer.transfer("y", y);
}

void LookoutState::serialize(Common::CommonSerializer& serializer) {
    serializer.transfer("tracks", tracks);
    serializer.transfer("tick", tick);
    serializer.transfer("reports", reports);
    serializer.transfer("predicted", predicted);
    serializer.transfer("error", error);
}

void FleetState::serialize(Common::CommonSerializer& serializer) {
    serializer.transfer("world", world);
    serializer.transfer("frames", frames);
    serializer.transfer("time", time);
    serializer.transfer("arrivals", arrivals);
    serializer.transfer("harbours", harbours);
    serializer.transfer("ferries", ferries);
    serializer.transfer("lookout", lookout);
}

void saveFleet(const std::string& file, FleetState& fleet) {
    io::FileStream out(file.c_str(), io::FileStream::Mode::kReplace);
    Common::CommonSerializer::Options options;
    options.namesFields = true; // the file is small, and qz dump tells more of it
    Common::CommonSerializer serializer(out, 0, options);
    serializer.transfer("fleet", fleet);
    if (!serializer.finish()) {
        throw UserError(file + ": " + serializer.getError());
    }
    if (!out.close()) {
        throw UserError(out.getError());
    }
}

std::optional<FleetState> loadFleet(const std::string& file) {
    if (!VFS_exists(file.c_str())) {
        return std::nullopt;
    }
    io::FileStream in(file.c_str(), io::FileStream::Mode::kRead);
    Common::CommonSerializer serializer(in, *registry);
    FleetState fleet;
    serializer.transfer("fleet", fleet);
    if (!serializer.finish()) {
        throw UserError(file + ": " + serializer.getError() + "; --fresh begins anew");
    }
    return fleet;
}

std::uint32_t fingerprint(FleetState& fleet) {
    io::MemoryStream bytes;
    Common::CommonSerializer serializer(bytes);
    serializer.transfer("fleet", fleet);
    if (!serializer.finish()) {
        throw UserError(serializer.getError());
    }
    return static_cast<std::uint32_t>(QZ_hash_data(bytes.bytes().data(), bytes.bytes().size(), 0));
}

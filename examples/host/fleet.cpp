#include "fleet.h"

#include "logging.h"

#include "Core/Hash.h"
#include "Core/Log.h"
#include "Globals.h"

#include <algorithm>
#include <cstdio>

namespace {

/* The point of the shore that faces the middle of the sea, where the water is open. */
Point quay(const World& world, const Circle& shore) {
    constexpr double kFromShore = 8;
    const Point middle{world.width / 2.0, world.height / 2.0};
    return towards(shore.centre, middle, shore.radius + kFromShore);
}

Sea seaOf(const World& world) {
    Sea sea{world.width, world.height, {}};
    for (const Island& island : world.islands) {
        sea.shores.push_back(island.shore);
    }
    return sea;
}

} // namespace

Fleet::Fleet(const World& world, Logbook& logbook)
    : logbook_(logbook)
    , world_(static_cast<std::uint32_t>(QZ_hash_string(world.title.c_str(), 0)))
    , sea_(seaOf(world))
    , lookout_(new Lookout) {
    globalMail->addMailbox(lookout_);
    for (const Island& island : world.islands) {
        if (island.berths > 0) {
            const auto address = kFirstHarbour + static_cast<std::uint32_t>(harbours_.size());
            harbours_.emplace_back(
                new Harbour(address, island.name, quay(world, island.shore), island.berths));
            globalMail->addMailbox(harbours_.back());
        }
    }
    std::ranges::for_each(world.ferries, [this](const FerryData& data) { add(data); });
}

Fleet::~Fleet() {
    globalMail->removeMailbox(lookout_->address);
    for (const auto& ferry : ferries_) {
        globalMail->removeMailbox(ferry->address);
    }
    for (const auto& harbour : harbours_) {
        globalMail->removeMailbox(harbour->address);
    }
}

Mem::Ptr<Harbour> Fleet::harbour(const std::string& name) const {
    return *std::ranges::find_if(harbours_,
                                 [&](const auto& harbour) { return harbour->name() == name; });
}

void Fleet::add(const FerryData& data) {
    Ferry::Route route;
    for (const std::string& name : data.route) {
        route.push_back(harbour(name));
    }
    const auto address = kFirstFerry + static_cast<std::uint32_t>(ferries_.size());
    ferries_.emplace_back(new Ferry(
        address, data.name, data.speed, std::move(route), sea_,
        [this](const Ferry& ferry, const Harbour& harbour) { noteArrival(ferry, harbour); }));
    globalMail->addMailbox(ferries_.back());
}

/* Each ferry gets different random numbers. */
void Fleet::begin() {
    constexpr std::uint32_t kApart = 97;
    std::uint32_t offset = 0;
    for (const auto& ferry : ferries_) {
        ferry->begin(offset);
        offset += kApart;
    }
}

bool Fleet::fits(const FleetState& state) const {
    const auto itFits = [](const auto& one, const auto& its) { return one->fits(its); };
    return state.world == world_ && std::ranges::equal(harbours_, state.harbours, itFits) &&
           std::ranges::equal(ferries_, state.ferries, itFits);
}

bool Fleet::resume(const FleetState& state) {
    if (!fits(state)) {
        return false;
    }
    frames_ = state.frames;
    time_ = state.time;
    arrivals_ = state.arrivals;
    lookout_->resume(state.lookout);
    for (std::size_t i = 0; i < harbours_.size(); ++i) {
        harbours_[i]->resume(state.harbours[i]);
    }
    for (std::size_t i = 0; i < ferries_.size(); ++i) {
        ferries_[i]->resume(state.ferries[i]);
    }
    return true;
}

FleetState Fleet::state() const {
    FleetState state{world_, frames_, time_, arrivals_, {}, {}, lookout_->state()};
    for (const auto& harbour : harbours_) {
        state.harbours.push_back(harbour->state());
    }
    for (const auto& ferry : ferries_) {
        state.ferries.push_back(ferry->state());
    }
    return state;
}

void Fleet::update(double seconds) {
    ++frames_;
    time_ += seconds;
    for (const auto& ferry : ferries_) {
        ferry->update(seconds);
    }
    lookout_->update(seconds);
}

void Fleet::noteArrival(const Ferry& ferry, const Harbour& harbour) {
    ++arrivals_;
    char time[32];
    std::snprintf(time, sizeof time, "%8.2f  ", time_);
    logbook_.add(time + ferry.name() + " reached " + harbour.name());
    hostLog(QZ_LOG_DEBUG, "%s reaches %s", ferry.name().c_str(), harbour.name().c_str());
}

#include "fleet.h"

#include "logging.h"

#include "Core/Log.h"
#include "Globals.h"

#include <algorithm>
#include <cstdio>

namespace {

/* On the shore that faces the middle of the sea, where the water is open. */
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

/* Each ferry has other random numbers. */
FerryImage newFerry(std::size_t number) {
    constexpr std::size_t kApart = 97;
    return {0, RandomObject::kUniform, static_cast<std::int32_t>(number * kApart)};
}

} // namespace

Fleet::Fleet(const World& world, const std::vector<FerryImage>& images, Logbook& logbook)
    : logbook_(logbook), sea_(seaOf(world)), lookout_(new Lookout) {
    globalMail->addMailbox(lookout_);
    for (const Island& island : world.islands) {
        if (island.berths > 0) {
            const auto address = kFirstHarbour + static_cast<std::uint32_t>(harbours_.size());
            harbours_.emplace_back(
                new Harbour(address, island.name, quay(world, island.shore), island.berths));
            globalMail->addMailbox(harbours_.back());
        }
    }
    for (std::size_t i = 0; i < world.ferries.size(); ++i) {
        add(world.ferries[i], i < images.size() ? images[i] : newFerry(i));
    }
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

void Fleet::add(const FerryData& data, const FerryImage& image) {
    Ferry::Route route;
    for (const std::string& name : data.route) {
        route.push_back(harbour(name));
    }
    const auto address = kFirstFerry + static_cast<std::uint32_t>(ferries_.size());
    ferries_.emplace_back(new Ferry(
        address, data.name, data.speed, std::move(route), sea_, image,
        [this](const Ferry& ferry, const Harbour& harbour) { noteArrival(ferry, harbour); }));
    globalMail->addMailbox(ferries_.back());
    ferries_.back()->begin();
}

void Fleet::update(double seconds) {
    time_ += seconds;
    for (const auto& ferry : ferries_) {
        ferry->update(seconds);
    }
    lookout_->update(seconds);
}

std::vector<FerryImage> Fleet::images() const {
    std::vector<FerryImage> images;
    for (const auto& ferry : ferries_) {
        images.push_back(ferry->image());
    }
    return images;
}

void Fleet::noteArrival(const Ferry& ferry, const Harbour& harbour) {
    ++arrivals_;
    char time[32];
    std::snprintf(time, sizeof time, "%8.2f  ", time_);
    logbook_.add(time + ferry.name() + " reached " + harbour.name());
    hostLog(QZ_LOG_DEBUG, "%s reaches %s", ferry.name().c_str(), harbour.name().c_str());
}

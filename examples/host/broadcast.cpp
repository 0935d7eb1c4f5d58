#include "broadcast.h"

#include "fleet_objects.h"
#include "user_error.h"

#include <algorithm>
#include <iterator>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kMostSilence(2);

} // namespace

Broadcast::Broadcast(const std::string& name, const World& world) : channel_(name) {
    channel_.claim();
    std::ranges::transform(world.ferries, std::back_inserter(names_), &FerryData::name);
}

/* A ring keeps the order of confirmations, so the last one of each watcher counts. */
void Broadcast::takeConfirmations() {
    const Clock::time_point now = Clock::now();
    while (const auto told = channel_.takeConfirmation()) {
        const bool isOurs = told->session == states_.getSession();
        watchers_[told->watcher] = {isOurs ? told->state : 0, now};
    }
    std::erase_if(watchers_,
                  [now](const auto& one) { return now - one.second.heard > kMostSilence; });
}

/* The newest state that all watchers have; 0 if one of them has none. */
std::uint32_t Broadcast::base() const {
    return std::ranges::min_element(watchers_, {}, [](const auto& one) { return one.second.state; })
        ->second.state;
}

void Broadcast::send(const FleetState& fleet) {
    takeConfirmations();
    if (watchers_.empty()) {
        return;
    }
    putFleet(states_, fleet, names_);
    if (states_.capture() == 0) {
        throw UserError(states_.getError());
    }
    const std::uint32_t least = base();
    states_.forget(least);
    const std::vector<Mail::Message> messages = states_.write(least, 0);
    if (messages.empty()) {
        throw UserError(states_.getError());
    }
    for (const Mail::Message& message : messages) {
        channel_.send(message);
    }
    traffic_.add(messages, least != 0);
}

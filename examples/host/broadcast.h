/* Sends the fleet as states to the processes that watch it. */
#ifndef QZ_HOST_BROADCAST_H
#define QZ_HOST_BROADCAST_H

#include "channel.h"
#include "fleet_state.h"
#include "traffic.h"
#include "world.h"

#include "Serial/CommonBufferizer.h"

#include <chrono>
#include <map>
#include <string>
#include <vector>

/* Writes what has changed since the newest state that all watchers have. Writes nothing without
 * watchers. A watcher that has not confirmed anything for some time is dropped. */
class Broadcast {
public:
    /* Throws UserError, also if another host does the same under the name. */
    Broadcast(const std::string& name, const World& world);

    /* Once a frame. Throws UserError. */
    void send(const FleetState& fleet);

    const Traffic& traffic() const { return traffic_; }

private:
    struct Watcher {
        std::uint32_t state; // the newest that it has
        std::chrono::steady_clock::time_point heard;
    };

    void takeConfirmations();
    std::uint32_t base() const;

    Channel channel_;
    std::vector<std::string> names_;
    Common::CommonBufferizer states_;
    std::map<std::uint32_t, Watcher> watchers_;
    Traffic traffic_;
};

#endif

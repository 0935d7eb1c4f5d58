// One engine's frame: what its services do in it, by this library and by others.
#pragma once

#include "goals.h"

#include <memory>
#include <string>
#include <vector>

namespace bench::frame {

constexpr std::size_t kMessages = 5000, kMailboxes = 1000, kMessageSize = 40;
constexpr std::size_t kEvents = 2000;
constexpr std::size_t kNumbers = 10'000;
constexpr std::size_t kSettings = 5000;
constexpr std::size_t kLines = 200;
constexpr std::size_t kTasks = 64, kQueues = 8, kCallbacks = 256;
constexpr std::size_t kRotations = 1000;
constexpr std::size_t kObjects = 100, kObjectSize = 64;

class Service {
public:
    virtual ~Service() = default;
    virtual void run() = 0; // a frame's share
};

// The same services in the same order on both sides.
constexpr const char* kServices[] = {"mail",  "states",    "random",  "settings", "log",
                                     "tasks", "rotations", "objects", "snapshot"};

using Services = std::vector<std::unique_ptr<Service>>;

// The other process of the snapshots is forked from this one: to be called before there are
// threads.
std::unique_ptr<Service> makeQzSnapshots();
std::unique_ptr<Service> makePeersSnapshots();

// All but the snapshots. The log goes to a file in the directory.
Services makeQzServices(const std::string& directory);
Services makePeersServices(const std::string& directory);

} // namespace bench::frame

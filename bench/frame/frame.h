// An engine's frame: the work of its services, by this library and by others.
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
    virtual void run() = 0; // the service's work in one frame
};

// The same services in the same order on both sides.
constexpr const char* kServices[] = {"mail",  "states",    "random",  "settings", "log",
                                     "tasks", "rotations", "objects", "snapshot"};

using Services = std::vector<std::unique_ptr<Service>>;

// Forks the process that reads the snapshots, so call it before there are threads.
std::unique_ptr<Service> makeQzSnapshots();
std::unique_ptr<Service> makePeersSnapshots();

// All services but the snapshots. The log is written to a file in the directory.
Services makeQzServices(const std::string& directory);
Services makePeersServices(const std::string& directory);

} // namespace bench::frame

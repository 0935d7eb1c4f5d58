#include "watcher.h"

#include "channel.h"
#include "fleet_objects.h"
#include "logging.h"
#include "stop.h"
#include "traffic.h"

#include "Core/Log.h"
#include "Globals.h"
#include "Serial/CommonBufferizer.h"

#include <chrono>
#include <cstdio>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPause(2);
constexpr std::chrono::milliseconds kBetweenConfirmations(100);
constexpr std::chrono::seconds kBetweenLines(1);

class Watcher {
public:
    explicit Watcher(const std::string& name)
        : channel_(name), states_(*registry), number_(states_.getSession()) {}

    void look() {
        const std::uint32_t before = has_;
        while (const auto message = channel_.receive()) {
            take(*message);
        }
        if (has_ != before || Clock::now() >= toConfirm_) {
            channel_.confirm({number_, parts_.getSession(), has_});
            toConfirm_ = Clock::now() + kBetweenConfirmations;
        }
        if (Clock::now() >= toPrint_) {
            printNews();
            toPrint_ = Clock::now() + kBetweenLines;
        }
    }

    void printNews() {
        auto fleet = takeFleet(states_);
        if (!fleet || has_ == printed_) {
            return;
        }
        std::printf("state %u, frame %u, fingerprint %u: %s; %s\n", has_, fleet->frames,
                    fingerprint(*fleet), describeFerries(states_).c_str(), traffic_.text().c_str());
        std::fflush(stdout);
        printed_ = has_;
    }

private:
    /* A ring keeps the order of messages, so a message of another sender is newer. */
    void take(const Mail::Message& message) {
        using Added = Common::StateParts::Added;
        Added added = parts_.add(message);
        if (added == Added::kOtherSender) {
            has_ = printed_ = 0;
            states_.reset();
            parts_.clear();
            added = parts_.add(message);
        }
        if (added == Added::kWaiting || added == Added::kComplete) {
            bytes_ = parts_.getNumber() == collected_ ? bytes_ : 0;
            collected_ = parts_.getNumber();
            bytes_ += message.getSize();
        }
        if (added == Added::kComplete) {
            read();
        }
    }

    /* A state written for other watchers may be changes against one that this watcher lacks. */
    void read() {
        if (states_.read(parts_)) {
            has_ = states_.getNumber();
            traffic_.add(bytes_, parts_.getBase() != 0);
        } else {
            hostLog(QZ_LOG_DEBUG, "state %u: %s", parts_.getNumber(), states_.getError().c_str());
            has_ = 0;
        }
    }

    Channel channel_;
    Common::CommonBufferizer states_;
    const std::uint32_t number_; // of this watcher
    Common::StateParts parts_;
    std::uint32_t has_ = 0;     // the state to confirm; 0 asks for a whole one
    std::uint32_t printed_ = 0; // the state that was printed last
    std::uint32_t collected_ = 0;
    std::uint64_t bytes_ = 0; // of the state that is being collected
    Traffic traffic_;
    Clock::time_point toConfirm_ = Clock::now();
    Clock::time_point toPrint_ = Clock::now();
};

} // namespace

void watchFleet(const std::string& name) {
    Watcher watcher(name);
    std::printf("watching %s\n", name.c_str());
    std::fflush(stdout);
    while (!stopRequested()) {
        watcher.look();
        std::this_thread::sleep_for(kPause);
    }
    watcher.printNews();
}

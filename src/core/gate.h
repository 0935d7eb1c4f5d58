// Counts who is inside something that cannot be taken down under them, and must not be waited for.
#pragma once

#include <atomic>
#include <limits>

namespace core {

// Closed at first. Then the count starts so low that it stays negative.
class Gate {
public:
    bool isOpen() const { return users_ >= 0; }
    void open() { users_ -= kClosed; }

    bool enter() { return users_++ >= 0; }
    void leave() { --users_; }

    // False if it is closed or somebody is inside.
    bool close() {
        int nobody = 0;
        return users_.compare_exchange_strong(nobody, kClosed);
    }

    // Inside, if it was allowed, as long as it lives.
    class Visit {
    public:
        explicit Visit(Gate& gate) : gate_(gate), allowed_(gate.enter()) {}
        ~Visit() { gate_.leave(); }
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;

        explicit operator bool() const { return allowed_; }

    private:
        Gate& gate_;
        bool allowed_;
    };

private:
    static constexpr int kClosed = std::numeric_limits<int>::min() / 2;

    std::atomic<int> users_{kClosed};
};

} // namespace core

// Counts the threads inside something that is taken down only while nobody is inside.
#pragma once

#include <atomic>
#include <limits>

namespace core {

// Closed at first. While it is closed, the count is so low that it stays negative.
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

    // A visit for the object's lifetime; false if it was not allowed.
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

// Work for several threads at once.
#pragma once

#include <thread>
#include <vector>

namespace qz::test {

// Runs body(0) to body(count - 1), each in a thread of its own, and waits for all of them.
template<class Body>
void inThreads(int count, Body body) {
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back(body, number);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace qz::test

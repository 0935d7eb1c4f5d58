// Threads that cannot be started, on purpose. For programs on Linux that link failing_threads.cpp,
// and for the libraries that they use.
#pragma once

namespace qz::test {

// While it lives, the starts of threads after the first `before` ones fail, `failures` of them.
class FailingThreads {
public:
    FailingThreads(int before, int failures);
    ~FailingThreads();
    FailingThreads(const FailingThreads&) = delete;
    FailingThreads& operator=(const FailingThreads&) = delete;
};

} // namespace qz::test

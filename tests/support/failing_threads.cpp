#include "support/failing_threads.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<int> starts{0};
std::atomic<int> firstFailure{0};
std::atomic<int> firstAfterFailures{0};

} // namespace

qz::test::FailingThreads::FailingThreads(int before, int failures) {
    starts = 0;
    firstFailure = before;
    firstAfterFailures = before + failures;
}

qz::test::FailingThreads::~FailingThreads() {
    firstAfterFailures = 0;
}

// In place of the system's, which it calls.
extern "C" __attribute__((visibility("default"))) int
pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
               void* argument) noexcept {
    static const auto create =
        reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    const int start = starts.fetch_add(1);
    if (start >= firstFailure && start < firstAfterFailures) {
        return ENOMEM; // with EAGAIN oneTBB would try again
    }
    return create(thread, attributes, function, argument);
}

#include "core/crash_terminate.h"

#include "core/library_log.h"

#include <cstdlib>
#include <exception>
#include <utility>

namespace core {

namespace {

constinit std::terminate_handler previous = nullptr;

void logException() {
    try {
        std::rethrow_exception(std::current_exception());
    } catch (const std::exception& exception) {
        qz_logf("QZCORE", QZ_LOG_ERROR, "Uncaught exception: %s", exception.what());
    } catch (...) {
        qz_log("QZCORE", QZ_LOG_ERROR, "Uncaught exception of a class of its own");
    }
}

// Comes back here if what() throws, or if a handler of the host's calls the one that it replaced,
// which is this one, and was itself there before a second bt_init.
void onTerminate() {
    static constinit thread_local bool isLogged = false;
    static constinit thread_local bool isPassedOn = false;
    if (!std::exchange(isLogged, true) && std::current_exception() != nullptr) {
        logException();
    }
    if (previous != nullptr && !std::exchange(isPassedOn, true)) {
        previous();
    }
    std::abort();
}

} // namespace

void logUncaughtExceptions() {
    const std::terminate_handler replaced = std::set_terminate(onTerminate);
    previous = replaced != onTerminate ? replaced : previous;
}

void leaveUncaughtExceptions() {
    if (std::get_terminate() == onTerminate) {
        std::set_terminate(previous);
    }
}

} // namespace core

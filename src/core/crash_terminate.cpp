#include "core/crash_terminate.h"

#include "core/log.h"

#include <cstdlib>
#include <exception>

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

void onTerminate() {
    if (std::current_exception() != nullptr) {
        logException();
    }
    if (previous != nullptr) {
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

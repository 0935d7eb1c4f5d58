#include "core/crash_terminate.h"

#include "core/library_log.h"
#include "platform/cut_text.h"
#include "platform/demangle.h"
#include "platform/thread.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <utility>

namespace core {

namespace {

constinit std::terminate_handler previous = nullptr;

// The text of the first uncaught exception; other threads may have one at the same time.
struct Words {
    void keep(const char* what) {
        if (isTaken.exchange(true)) {
            return;
        }
        length = platform::cut(what, sizeof text).size();
        std::replace_copy_if(what, what + length, text, isControl, ' ');
        thread.store(platform::currentThread(), std::memory_order_release);
    }

    static bool isControl(char c) { return static_cast<unsigned char>(c) < ' '; }

    std::atomic<bool> isTaken{false};
    std::atomic<std::uintptr_t> thread{0}; // the exception's thread; set when the text is complete
    std::size_t length = 0;
    char text[512] = "";
};
constinit Words words{};

void logWords(const char* text) {
    qz_logf("QZCORE", QZ_LOG_ERROR, "Uncaught exception: %s", text);
    words.keep(text);
}

void logException() {
    try {
        std::rethrow_exception(std::current_exception());
    } catch (const std::exception& exception) {
        logWords(exception.what());
    } catch (...) {
        logWords(("of type " + platform::caughtType()).c_str());
    }
}

// Runs again if what() throws. It also does if the host's handler replaced this one, a second
// bt_init put this one back, and the host's handler calls the one that it replaced.
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

std::string_view uncaughtException() {
    const bool areMine = words.thread.load(std::memory_order_acquire) == platform::currentThread();
    return areMine ? std::string_view(words.text, words.length) : std::string_view();
}

void leaveUncaughtExceptions() {
    if (std::get_terminate() == onTerminate) {
        std::set_terminate(previous);
    }
}

} // namespace core

#include "Util/TempFilesManager.h"

#include "VFS/File.h"
#include "VFS/Locations.h"
#include "core/library_rand.h"
#include "platform/clock.h"
#include "platform/thread.h"

#include <atomic>
#include <cstdint>
#include <cstdio>

namespace CoreUtils {

namespace {

constexpr unsigned kNumbers = core::LibraryRand::kMaximum + 1;
constexpr std::size_t kNameSize = 256;

// Processes start at different numbers, so that they seldom want the same name.
unsigned firstNumber() {
    const auto time = static_cast<std::uint32_t>(platform::counterValue());
    const auto process = static_cast<std::uint32_t>(platform::processId());
    return static_cast<unsigned>(core::LibraryRand(time ^ process).next());
}

// One sequence for the whole process: calls at the same time get different numbers. A forked child
// begins its own.
unsigned nextNumber() {
    static std::atomic<std::uint64_t> sequence{0}; // the process, and the next number
    const auto owner = static_cast<std::uint64_t>(platform::processId()) * kNumbers;
    std::uint64_t seen = sequence.load(std::memory_order_relaxed);
    std::uint64_t number = 0;
    do {
        number = seen - seen % kNumbers == owner ? seen % kNumbers : firstNumber();
    } while (!sequence.compare_exchange_weak(seen, owner + (number + 1) % kNumbers,
                                             std::memory_order_relaxed));
    return static_cast<unsigned>(number);
}

} // namespace

TempFilesManager::~TempFilesManager() {
    if (process_ == platform::processId()) {
        for (const std::string& name : names_) {
            VFS_remove(name.c_str());
        }
    }
}

std::string TempFilesManager::getTempFileName(const std::string& prefix) {
    for (unsigned i = 0; i < kNumbers; ++i) {
        char name[kNameSize];
        const int length = std::snprintf(name, sizeof name, "%s/%s%08X", VFS_get_tempdir(),
                                         prefix.c_str(), nextNumber());
        if (length < 0 || static_cast<std::size_t>(length) >= sizeof name) {
            break;
        }
        if (VFS_exists(name) == 0) {
            return name;
        }
    }
    return {};
}

std::string TempFilesManager::newTempFile(const std::string& prefix) {
    std::string name = getTempFileName(prefix);
    if (!name.empty()) {
        addTempFile(name);
    }
    return name;
}

void TempFilesManager::addTempFile(const std::string& name) {
    const int process = platform::processId();
    if (process_ != process) {
        names_.clear();
        process_ = process;
    }
    names_.push_back(name);
}

} // namespace CoreUtils

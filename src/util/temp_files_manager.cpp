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

// One sequence for the whole process: calls at the same time get different numbers.
unsigned nextNumber() {
    static std::atomic<unsigned> next{firstNumber()};
    return next.fetch_add(1, std::memory_order_relaxed) % kNumbers;
}

} // namespace

TempFilesManager::~TempFilesManager() {
    for (const std::string& name : names_) {
        VFS_remove(name.c_str());
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
    names_.push_back(name);
}

} // namespace CoreUtils

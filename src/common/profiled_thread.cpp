#include "common/profiled_thread.h"

#include "Common/Profiler.h"
#include "core/cut_text.h"

#include <algorithm>
#include <cstring>

namespace common {

namespace {

void copyName(char (&name)[kProfiledNameSize], const char* text) {
    const std::size_t length =
        core::lengthToKeep({text, strnlen(text, kProfiledNameSize)}, kProfiledNameSize - 1);
    std::memcpy(name, text, length);
    name[length] = '\0';
}

std::size_t cacheSlot(const char* name, std::size_t slots) {
    return (reinterpret_cast<std::uintptr_t>(name) >> 3U) % slots;
}

} // namespace

// A section that has begun but not ended yet has a unit without a count.
void ProfiledUnit::add(const ProfiledUnit& other) noexcept {
    if (other.count == 0) {
        return;
    }
    minimum = count == 0 ? other.minimum : std::min(minimum, other.minimum);
    maximum = count == 0 ? other.maximum : std::max(maximum, other.maximum);
    total += other.total;
    count += other.count;
}

void ProfiledThread::enter(const char* name, unsigned session, std::int64_t now) {
    const std::lock_guard lock(mutex_);
    continueIn(session);
    if (depth_ < kMaxDepth) {
        open_[depth_] = {unitOf(name), now};
    }
    ++depth_;
}

void ProfiledThread::leave(unsigned session, std::int64_t now, std::atomic<std::int64_t>& room,
                           FrameTimes& frames) {
    const std::lock_guard lock(mutex_);
    continueIn(session);
    if (depth_ == 0 || --depth_ >= kMaxDepth || open_[depth_].unit == kNoUnit) {
        return;
    }
    const auto [index, start] = open_[depth_];
    const std::int64_t duration = now - start;
    ProfiledUnit& unit = units_[index];
    unit.minimum = unit.count == 0 ? duration : std::min(unit.minimum, duration);
    unit.maximum = std::max(unit.maximum, duration);
    unit.total += duration;
    ++unit.count;
    if (index == frameUnit_) {
        frames.add(duration);
    }
    if (room.fetch_sub(1, std::memory_order_relaxed) > 0) {
        sections_.push_back({index, start, duration});
    }
}

void ProfiledThread::reset() {
    const std::lock_guard lock(mutex_);
    depth_ = 0;
    frameUnit_ = kNoUnit;
    units_ = {};
    sections_ = {};
}

void ProfiledThread::continueIn(unsigned session) {
    if (session_ != session) {
        session_ = session;
        depth_ = 0;
        id_.name = platform::threadName();
    }
}

std::uint32_t ProfiledThread::unitOf(const char* name) noexcept {
    std::uint32_t& guess = cache_[cacheSlot(name, kCacheSize)];
    if (guess < units_.size() && std::strcmp(units_[guess].name, name) == 0) {
        return guess;
    }
    try {
        return guess = findOrAdd(name);
    } catch (...) {
        return kNoUnit;
    }
}

std::uint32_t ProfiledThread::findOrAdd(const char* name) {
    ProfiledUnit unit{};
    copyName(unit.name, name);
    const auto found = std::ranges::find_if(
        units_, [&](const ProfiledUnit& one) { return std::strcmp(one.name, unit.name) == 0; });
    const auto index = static_cast<std::uint32_t>(found - units_.begin());
    if (found == units_.end()) {
        units_.push_back(unit);
    }
    if (std::strcmp(unit.name, Common::kFrameSection) == 0) {
        frameUnit_ = index;
    }
    return index;
}

} // namespace common

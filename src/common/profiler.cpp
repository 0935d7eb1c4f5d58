#include "common/profiler.h"

#include "Core/Clock.h"
#include "core/cut_text.h"
#include "core/static_storage.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace common {

namespace {

void copyName(char (&name)[kNameSize], const char* text) {
    const std::size_t length = core::lengthToKeep({text, strnlen(text, kNameSize)}, kNameSize - 1);
    std::memcpy(name, text, length);
    name[length] = '\0';
}

std::size_t cacheSlot(const char* name, std::size_t slots) {
    return (reinterpret_cast<std::uintptr_t>(name) >> 3U) % slots;
}

// Tells threads apart, those that have ended too.
std::uint64_t ownSerial() {
    static std::atomic<std::uint64_t> last{0};
    static thread_local std::uint64_t own = 0;
    if (own == 0) {
        own = ++last;
    }
    return own;
}

// A section that has begun but not ended yet has a unit without a count.
void add(std::map<std::string, ProfiledUnit>& all, const ProfiledUnit& unit) {
    if (unit.count == 0) {
        return;
    }
    const auto [place, isNew] = all.emplace(unit.name, unit);
    if (!isNew) {
        ProfiledUnit& sum = place->second;
        sum.minimum = std::min(sum.minimum, unit.minimum);
        sum.maximum = std::max(sum.maximum, unit.maximum);
        sum.total += unit.total;
        sum.count += unit.count;
    }
}

// Not destroyed when a process ends: other threads may still be in a section.
constinit core::StaticStorage<Common::Profiler> theProfiler{};

} // namespace

void ProfiledThread::enter(const char* name, unsigned session, std::int64_t now) {
    const std::lock_guard lock(mutex_);
    continueIn(session);
    if (depth_ < kMaxDepth) {
        open_[depth_] = {unitOf(name), now};
    }
    ++depth_;
}

void ProfiledThread::leave(unsigned session, std::int64_t now, std::atomic<std::int64_t>& room) {
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
    if (room.fetch_sub(1, std::memory_order_relaxed) > 0) {
        sections_.push_back({index, start, duration});
    }
}

void ProfiledThread::reset() {
    const std::lock_guard lock(mutex_);
    depth_ = 0;
    units_ = {};
    sections_ = {};
}

void ProfiledThread::continueIn(unsigned session) {
    if (session_ != session) {
        session_ = session;
        depth_ = 0;
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
    return index;
}

void openGlobalProfiler() {
    theProfiler.make();
}

void closeGlobalProfiler() {
    globalProfiler.stop();
    theProfiler.destroy();
}

} // namespace common

Common::Profiler& globalProfiler = reinterpret_cast<Common::Profiler&>(common::theProfiler);

namespace Common {

std::uint64_t Profiler::Recording::nextId() {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

// The one used last is at hand: hardly anybody has more than one profiler.
common::ProfiledThread* Profiler::Recording::threadFor() {
    struct Own {
        std::uint64_t recording;
        common::ProfiledThread* thread;
    };
    static thread_local Own own{};
    if (own.recording != id) {
        own = {id, &findOrAddThread(common::ownSerial())};
    }
    return own.thread;
}

common::ProfiledThread& Profiler::Recording::findOrAddThread(std::uint64_t serial) {
    const std::lock_guard lock(threadsMutex);
    const auto found = std::ranges::find_if(
        threads, [=](const common::ProfiledThread& thread) { return thread.owner() == serial; });
    return found != threads.end()
               ? *found
               : threads.emplace_back(static_cast<unsigned>(threads.size() + 1), serial);
}

std::map<std::string, common::ProfiledUnit> Profiler::Recording::merged() const {
    std::map<std::string, common::ProfiledUnit> all;
    const std::lock_guard lock(threadsMutex);
    for (const common::ProfiledThread& thread : threads) {
        thread.read([&](unsigned, const auto& units, const auto&) {
            for (const common::ProfiledUnit& unit : units) {
                common::add(all, unit);
            }
        });
    }
    return all;
}

Profiler::~Profiler() {
    delete recording_.exchange(nullptr);
}

void Profiler::start() {
    if (recording_.load() == nullptr) {
        auto* const made = new (std::nothrow) Recording;
        Recording* nobodys = nullptr;
        if (made == nullptr || !recording_.compare_exchange_strong(nobodys, made)) {
            delete made;
        }
    }
    if (Recording* const recording = recording_.load()) {
        recording->session.fetch_add(1);
        running_.store(true, std::memory_order_release);
    }
}

void Profiler::reset() {
    Recording* const recording = recording_.load(std::memory_order_acquire);
    if (recording == nullptr) {
        return;
    }
    const std::lock_guard lock(recording->threadsMutex);
    recording->room = Recording::kMaxSections;
    for (common::ProfiledThread& thread : recording->threads) {
        thread.reset();
    }
}

void Profiler::enterSection(const char* name) noexcept {
    Recording* const recording = recording_.load(std::memory_order_acquire);
    if (recording == nullptr) {
        return;
    }
    try {
        // The clock last, so that a first section is not charged for its bookkeeping.
        common::ProfiledThread* const thread = recording->threadFor();
        thread->enter(name == nullptr ? "<NULL>" : name, recording->session.load(), QZ_get_ticks());
    } catch (...) {
        // Not recorded.
    }
}

void Profiler::leaveSection() noexcept {
    const std::int64_t now = QZ_get_ticks();
    Recording* const recording = recording_.load(std::memory_order_acquire);
    if (recording == nullptr) {
        return;
    }
    try {
        recording->threadFor()->leave(recording->session.load(), now, recording->room);
    } catch (...) {
        // Counted, but not in the trace.
    }
}

void Profiler::visit(Visitor visitor, void* context) const {
    const Recording* const recording = recording_.load();
    if (recording == nullptr) {
        return;
    }
    const double second = 1.0 / static_cast<double>(QZ_get_tick_rate());
    for (const auto& [name, unit] : recording->merged()) {
        const double total = static_cast<double>(unit.total) * second;
        const Statistics statistics = {
            unit.count, total, static_cast<double>(unit.minimum) * second,
            static_cast<double>(unit.maximum) * second, total / static_cast<double>(unit.count)};
        visitor(context, name.c_str(), statistics);
    }
}

std::uint64_t Profiler::dropped() const {
    const Recording* const recording = recording_.load();
    const std::int64_t room = recording == nullptr ? 0 : recording->room.load();
    return room < 0 ? static_cast<std::uint64_t>(-room) : 0;
}

bool Profiler::writeTrace(const char* path) const {
    return path != nullptr && common::writeTrace(recording_.load(), path);
}

} // namespace Common

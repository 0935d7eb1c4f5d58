#include "common/recording.h"

#include "Core/Clock.h"
#include "core/static_storage.h"

#include <iterator>
#include <memory>
#include <new>

namespace common {

namespace {

// Not destroyed when a process ends: other threads may still be in a section.
constinit core::StaticStorage<Common::Profiler> theProfiler{};

} // namespace

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

// Takes no lock, as it must not where a thread ends: the next new thread clears up.
bool Profiler::Recording::open() {
    return own_.open([](void* thread) { static_cast<common::ProfiledThread*>(thread)->end(); });
}

Profiler::Recording::~Recording() {
    own_.close();
}

common::ProfiledThread& Profiler::Recording::thread() {
    auto* const known = static_cast<common::ProfiledThread*>(own_.get());
    return known != nullptr ? *known : addThread();
}

common::ProfiledThread& Profiler::Recording::addThread() {
    const std::lock_guard lock(mutex_);
    takeOverEnded();
    common::ProfiledThread& added = threads_.emplace_back(++lastNumber_);
    if (!own_.set(&added)) {
        threads_.pop_back();
        throw std::bad_alloc();
    }
    return added;
}

void Profiler::Recording::takeOverEnded() {
    for (auto thread = threads_.begin(); thread != threads_.end();) {
        const auto next = std::next(thread);
        if (thread->hasEnded()) {
            ended_.take(*thread);
            threads_.erase(thread);
        }
        thread = next;
    }
}

common::ProfiledUnits Profiler::Recording::merged() const {
    const std::lock_guard lock(mutex_);
    common::ProfiledUnits all = ended_.units();
    for (const common::ProfiledThread& thread : threads_) {
        thread.read([&](const auto&, const auto& units, const auto&) {
            for (const common::ProfiledUnit& unit : units) {
                const auto [place, isNew] = all.emplace(unit.name, unit);
                if (!isNew) {
                    place->second.add(unit);
                }
            }
        });
    }
    return all;
}

void Profiler::Recording::reset() {
    const std::lock_guard lock(mutex_);
    room = kMaxSections;
    frames.reset();
    ended_.reset();
    for (common::ProfiledThread& thread : threads_) {
        thread.reset();
    }
}

Profiler::~Profiler() {
    delete recording_.exchange(nullptr);
}

void Profiler::start() {
    if (recording_.load() == nullptr) {
        std::unique_ptr<Recording> made(new (std::nothrow) Recording);
        Recording* nobodys = nullptr;
        if (made != nullptr && made->open() &&
            recording_.compare_exchange_strong(nobodys, made.get())) {
            static_cast<void>(made.release());
        }
    }
    if (Recording* const recording = recording_.load()) {
        recording->session.fetch_add(1);
        running_.store(true, std::memory_order_release);
    }
}

void Profiler::reset() {
    Recording* const recording = recording_.load(std::memory_order_acquire);
    if (recording != nullptr) {
        recording->reset();
    }
}

void Profiler::enterSection(const char* name) noexcept {
    Recording* const recording = recording_.load(std::memory_order_acquire);
    if (recording == nullptr) {
        return;
    }
    try {
        // The clock last, so that a first section is not charged for its bookkeeping.
        common::ProfiledThread& thread = recording->thread();
        thread.enter(name == nullptr ? "<NULL>" : name, recording->session.load(), QZ_get_ticks());
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
        recording->thread().leave(recording->session.load(), now, recording->room,
                                  recording->frames);
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
        if (unit.count == 0) {
            continue;
        }
        const double total = static_cast<double>(unit.total) * second;
        const Statistics statistics = {
            unit.count, total, static_cast<double>(unit.minimum) * second,
            static_cast<double>(unit.maximum) * second, total / static_cast<double>(unit.count)};
        visitor(context, name.c_str(), statistics);
    }
}

std::size_t Profiler::readFrames(std::uint64_t& next, double* seconds, std::size_t room) const {
    const Recording* const recording = recording_.load(std::memory_order_acquire);
    if (recording == nullptr) {
        next = 0;
        return 0;
    }
    const double second = 1.0 / static_cast<double>(QZ_get_tick_rate());
    std::size_t count = 0;
    next = recording->frames.read(next, room, [&](std::int64_t ticks) {
        seconds[count++] = static_cast<double>(ticks) * second;
    });
    return count;
}

std::uint64_t Profiler::dropped() const {
    const Recording* const recording = recording_.load();
    const std::int64_t room = recording == nullptr ? 0 : recording->room.load();
    return room < 0 ? static_cast<std::uint64_t>(-room) : 0;
}

bool Profiler::writeTrace(const char* path) const {
    try {
        return path != nullptr && common::writeTrace(recording_.load(), path);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace Common

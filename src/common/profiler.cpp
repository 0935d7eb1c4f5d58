#include "common/recording.h"

#include "Core/Clock.h"
#include "core/static_storage.h"
#include "platform/compiler.h"

#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <shared_mutex>

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
QZ_EXPORT_BY_NAME(Common::Profiler&, globalProfiler);

namespace Common {

// A thread's end takes no lock and only leaves a mark: the next new thread, or reader, clears up.
// So the destructor cannot wait for a thread that is about to leave its mark.
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
    takeOverEnded();
    Threads added;
    common::ProfiledThread& thread = added.emplace_back(++lastNumber_);
    if (!own_.set(&thread)) {
        throw std::bad_alloc();
    }
    const std::lock_guard lock(listMutex_);
    threads_.splice(threads_.end(), added);
    return thread;
}

qz::vector<const common::ProfiledThread*> Profiler::Recording::known() const {
    const std::lock_guard lock(listMutex_);
    qz::vector<const common::ProfiledThread*> threads;
    threads.reserve(threads_.size());
    for (const common::ProfiledThread& thread : threads_) {
        threads.push_back(&thread);
    }
    return threads;
}

// Takes the threads off the list for which the condition is true.
template<class Condition>
Profiler::Recording::Threads Profiler::Recording::without(Condition condition) {
    Threads taken;
    const std::lock_guard lock(listMutex_);
    for (auto thread = threads_.begin(); thread != threads_.end();) {
        const auto next = std::next(thread);
        if (condition(*thread)) {
            taken.splice(taken.end(), threads_, thread);
        }
        thread = next;
    }
    return taken;
}

// Leaves a record with many sections as it is: little of it could be freed, and copying it would
// take too long for a new thread, which calls this.
void Profiler::Recording::takeOverEnded() noexcept {
    constexpr std::size_t kFewSections = 1024;
    const std::unique_lock alone(contents_, std::try_to_lock);
    if (!alone) {
        return;
    }
    Threads ended = without([](const common::ProfiledThread& thread) {
        return thread.hasEnded() && thread.sections().size() <= kFewSections;
    });
    try {
        for (; !ended.empty(); ended.pop_front()) {
            ended_.take(ended.front());
        }
    } catch (...) { // no memory; perhaps the next time
        const std::lock_guard lock(listMutex_);
        threads_.splice(threads_.begin(), ended);
    }
}

common::ProfiledUnits Profiler::Recording::merged() const {
    common::ProfiledUnits all;
    read([&](const common::EndedThreads& ended) { all = ended.units(); },
         [&](const common::ProfiledThread& thread) {
             thread.units().read([&](const common::CountedUnit& counted) {
                 const common::ProfiledUnit unit = counted.read();
                 const auto [place, isNew] = all.emplace(unit.name, unit);
                 if (!isNew) {
                     place->second.add(unit);
                 }
             });
         });
    return all;
}

void Profiler::Recording::reset() {
    const std::lock_guard alone(contents_);
    room = kMaxSections;
    frames.reset();
    ended_.reset();
    const Threads ended =
        without([](const common::ProfiledThread& thread) { return thread.hasEnded(); });
    const std::lock_guard lock(listMutex_);
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
        // Reads the clock last, so that a first section does not include its bookkeeping.
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
        // Not recorded, or counted but not in the trace.
    }
}

void Profiler::visit(Visitor visitor, void* context) const {
    Recording* const recording = recording_.load();
    if (recording == nullptr) {
        return;
    }
    recording->takeOverEnded();
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

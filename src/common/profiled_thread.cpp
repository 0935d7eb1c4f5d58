#include "common/profiled_thread.h"

#include "Common/Profiler.h"
#include "platform/cut_text.h"

#include <algorithm>
#include <cstring>

namespace common {

namespace {

std::size_t cacheSlot(const char* name, std::size_t slots) {
    return (reinterpret_cast<std::uintptr_t>(name) >> 3U) % slots;
}

} // namespace

// A unit has no count before its first section ends.
void ProfiledUnit::add(const ProfiledUnit& other) noexcept {
    if (other.count == 0) {
        return;
    }
    minimum = count == 0 ? other.minimum : std::min(minimum, other.minimum);
    maximum = count == 0 ? other.maximum : std::max(maximum, other.maximum);
    total += other.total;
    count += other.count;
}

void CountedUnit::setName(std::string_view name) {
    platform::copyCut(name_, name);
}

// Releases: a reader that sees one of the new values also sees that a change has begun.
void CountedUnit::add(std::int64_t duration) {
    constexpr auto kOwn = std::memory_order_relaxed;
    const std::uint64_t changes = changes_.load(kOwn);
    const std::uint64_t count = count_.load(kOwn);
    const std::int64_t minimum = count == 0 ? duration : std::min(minimum_.load(kOwn), duration);
    const std::int64_t maximum = std::max(maximum_.load(kOwn), duration);
    changes_.store(changes + 1, kOwn);
    count_.store(count + 1, std::memory_order_release);
    total_.store(total_.load(kOwn) + duration, std::memory_order_release);
    minimum_.store(minimum, std::memory_order_release);
    maximum_.store(maximum, std::memory_order_release);
    changes_.store(changes + 2, std::memory_order_release);
}

ProfiledUnit CountedUnit::read() const {
    constexpr auto kSeen = std::memory_order_acquire;
    ProfiledUnit unit{};
    std::memcpy(unit.name, name_, sizeof name_);
    for (;;) {
        const std::uint64_t changes = changes_.load(kSeen);
        unit.count = count_.load(kSeen);
        unit.total = total_.load(kSeen);
        unit.minimum = minimum_.load(kSeen);
        unit.maximum = maximum_.load(kSeen);
        if (changes % 2 == 0 && changes_.load(std::memory_order_relaxed) == changes) {
            return unit;
        }
        platform::yieldThread(); // the thread may have lost the processor
    }
}

CountedUnit* UnitIndex::find(std::string_view name) const {
    const Slot* const slot = table_.find(std::hash<std::string_view>()(name),
                                         [&](const Slot& one) { return one.unit->name() == name; });
    return slot == nullptr ? nullptr : slot->unit;
}

void UnitIndex::add(CountedUnit& unit) {
    table_.makeRoom();
    const Slot added{&unit};
    table_.fill(table_.freeSlotFor(added.hash()), added);
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
    if (depth_ == 0 || --depth_ >= kMaxDepth || open_[depth_].unit == nullptr) {
        return;
    }
    const auto [unit, start] = open_[depth_];
    const std::int64_t duration = now - start;
    unit->add(duration);
    if (unit == frameUnit_) {
        frames.add(duration);
    }
    if (room.fetch_sub(1, std::memory_order_relaxed) > 0) {
        sections_.place() = {unit, start, duration};
        sections_.add();
    }
}

// Deletes the old contents after it has released the lock, so that the thread may go on.
void ProfiledThread::reset() {
    UnitIndex index;
    Units units;
    Sections sections;
    const std::lock_guard lock(mutex_);
    depth_ = 0;
    frameUnit_ = nullptr;
    cache_.fill(nullptr);
    index_.swap(index);
    units_.swap(units);
    sections_.swap(sections);
}

ThreadId ProfiledThread::id() const {
    const std::lock_guard lock(mutex_);
    return id_;
}

void ProfiledThread::continueIn(unsigned session) {
    if (session_ != session) {
        session_ = session;
        depth_ = 0;
        id_.name = platform::threadName();
    }
}

CountedUnit* ProfiledThread::unitOf(const char* name) noexcept {
    CountedUnit*& guess = cache_[cacheSlot(name, kCacheSize)];
    if (guess != nullptr && std::strcmp(guess->name(), name) == 0) {
        return guess;
    }
    try {
        return guess = findOrAdd(name);
    } catch (...) {
        return nullptr;
    }
}

CountedUnit* ProfiledThread::findOrAdd(const char* text) {
    const std::string_view name = platform::cut(text, kProfiledNameSize - 1);
    if (CountedUnit* const found = index_.find(name)) {
        return found;
    }
    CountedUnit& added = units_.place();
    added.setName(name);
    index_.add(added);
    units_.add();
    if (name == Common::kFrameSection) {
        frameUnit_ = &added;
    }
    return &added;
}

} // namespace common

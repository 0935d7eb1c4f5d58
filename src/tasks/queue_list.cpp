#include "tasks/queue_list.h"

#include <algorithm>
#include <new>
#include <string>

namespace tasks {

namespace {

constexpr std::size_t kFirstCapacity = 32;

} // namespace

// Only the queues that appeared since the first look are looked at under the lock.
std::size_t QueueList::findOrMake(std::string_view name, Workers& workers) {
    const std::size_t known = size();
    if (const auto found = find(name, 0, known)) {
        return *found;
    }
    const tbb::spin_mutex::scoped_lock lock(mutex_);
    const std::size_t end = size();
    if (const auto found = find(name, known, end)) {
        return *found;
    }
    makeRoom(end + 1);
    auto queue = std::make_unique<SerialQueue>(std::string(name), workers);
    if (!workers.reserve()) {
        throw std::bad_alloc();
    }
    table_.load(std::memory_order_relaxed)[end] = queue.release();
    size_.store(end + 1, std::memory_order_release);
    return end;
}

std::optional<std::size_t> QueueList::find(std::string_view name, std::size_t from,
                                           std::size_t to) const {
    for (std::size_t i = from; i < to; ++i) {
        if (at(i)->name() == name) {
            return i;
        }
    }
    return std::nullopt;
}

void QueueList::makeRoom(std::size_t count) {
    if (count <= capacity_) {
        return;
    }
    const std::size_t capacity = std::max(2 * capacity_, kFirstCapacity);
    SerialQueue** const larger =
        tables_.emplace_back(std::make_unique<SerialQueue*[]>(capacity)).get();
    std::copy_n(table_.load(std::memory_order_relaxed), capacity_, larger);
    table_.store(larger, std::memory_order_release);
    capacity_ = capacity;
}

} // namespace tasks

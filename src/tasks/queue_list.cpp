#include "tasks/queue_list.h"

#include <algorithm>
#include <new>
#include <string>

namespace tasks {

namespace {

constexpr std::size_t kFirstCapacity = 32;

} // namespace

std::size_t QueueList::findOrMake(std::string_view name, Workers& workers) {
    {
        const tbb::spin_rw_mutex::scoped_lock reading(mutex_, false);
        if (const auto found = find(name)) {
            return *found;
        }
    }
    const tbb::spin_rw_mutex::scoped_lock writing(mutex_, true);
    const auto found = find(name);
    return found ? *found : make(name, workers);
}

std::optional<std::size_t> QueueList::find(std::string_view name) const {
    const auto found = numbers_.find(name);
    return found != numbers_.end() ? std::optional(found->second) : std::nullopt;
}

std::size_t QueueList::make(std::string_view name, Workers& workers) {
    const std::size_t number = size();
    makeRoom(number + 1);
    auto queue = std::make_unique<SerialQueue>(std::string(name), workers);
    const auto place = numbers_.emplace(queue->name(), number).first;
    if (!workers.reserve()) {
        numbers_.erase(place);
        throw std::bad_alloc();
    }
    table_.load(std::memory_order_relaxed)[number] = queue.release();
    size_.store(number + 1, std::memory_order_release);
    return number;
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

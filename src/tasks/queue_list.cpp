#include "tasks/queue_list.h"

#include <algorithm>
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
    append(new SerialQueue(std::string(name), workers));
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

void QueueList::append(SerialQueue* queue) {
    const std::size_t size = this->size();
    if (size == capacity_) {
        grow();
    }
    table_.load(std::memory_order_relaxed)[size] = queue;
    size_.store(size + 1, std::memory_order_release);
}

void QueueList::grow() {
    const std::size_t capacity = std::max(2 * capacity_, kFirstCapacity);
    Table larger(new SerialQueue*[capacity]);
    std::copy_n(table_.load(std::memory_order_relaxed), capacity_, larger.get());
    table_.store(larger.get(), std::memory_order_release);
    tables_.push_back(std::move(larger));
    capacity_ = capacity;
}

} // namespace tasks

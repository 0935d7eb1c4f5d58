// The serial queues by their numbers.
#pragma once

#include "tasks/serial_queue.h"

#include <oneapi/tbb/spin_rw_mutex.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tasks {

// Finding a queue by its number takes no lock: the list only grows. When its table is full, a
// larger one replaces it, and the old one stays for threads that are still reading it. Threads that
// find queues by their names share a lock.
class QueueList {
public:
    // Null if no queue has the number.
    SerialQueue* at(std::size_t number) const {
        return number < size() ? table_.load(std::memory_order_acquire)[number] : nullptr;
    }

    std::size_t size() const { return size_.load(std::memory_order_acquire); }

    // The number of the queue of that name; makes the queue if there is none. Throws std::bad_alloc
    // if there is no memory for it, and then changes nothing.
    std::size_t findOrMake(std::string_view name, Workers& workers);

private:
    using Table = std::unique_ptr<SerialQueue*[]>;

    std::optional<std::size_t> find(std::string_view name) const;
    std::size_t make(std::string_view name, Workers& workers);
    void makeRoom(std::size_t count);

    std::atomic<std::size_t> size_{0}; // its store publishes an entry and the table that holds it
    std::atomic<SerialQueue**> table_{nullptr}; // a reader may see a new table before the new size
    std::size_t capacity_ = 0;
    std::vector<Table> tables_;                                 // the current one and all old ones
    std::unordered_map<std::string_view, std::size_t> numbers_; // the keys are the queues' names
    tbb::spin_rw_mutex mutex_;                                  // guards all; at() does not take it
};

} // namespace tasks

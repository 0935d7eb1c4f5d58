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

// Finding a queue by its number takes no lock: the list only grows, and when its table is full a
// larger one takes its place, while the old one stays for those who are still reading it. Those who
// find one by its name do not exclude each other.
class QueueList {
public:
    // Null if there is none of that number.
    SerialQueue* at(std::size_t number) const {
        return number < size() ? table_.load(std::memory_order_acquire)[number] : nullptr;
    }

    std::size_t size() const { return size_.load(std::memory_order_acquire); }

    // The number of the queue of that name; makes the queue if there is none. Throws std::bad_alloc
    // when there is no memory for one, and has changed nothing then.
    std::size_t findOrMake(std::string_view name, Workers& workers);

private:
    using Table = std::unique_ptr<SerialQueue*[]>;

    std::optional<std::size_t> find(std::string_view name) const;
    std::size_t make(std::string_view name, Workers& workers);
    void makeRoom(std::size_t count);

    std::atomic<std::size_t> size_{0}; // publishes an entry, and a table that has room for it
    std::atomic<SerialQueue**> table_{nullptr}; // the newest may be seen before the size is
    std::size_t capacity_ = 0;
    std::vector<Table> tables_;                                 // the old ones too
    std::unordered_map<std::string_view, std::size_t> numbers_; // by the queues' own names
    tbb::spin_rw_mutex mutex_;                                  // of all but the table's entries
};

} // namespace tasks

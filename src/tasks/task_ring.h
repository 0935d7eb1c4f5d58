// Tasks, first in first out.
#pragma once

#include "core/invariant.h"
#include "tasks/task.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace tasks {

// A ring buffer that grows and never shrinks. Unlike a deque it takes no memory before the first
// task, and it returns false instead of throwing if there is no memory.
class TaskRing {
public:
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    std::size_t capacity() const { return capacity_; }

    // Makes room for that many tasks in all; false if there is no memory for them.
    bool reserve(std::size_t count) {
        return count <= capacity_ || grow(std::bit_ceil(std::max(count, kFirstCapacity)));
    }

    bool push(Task task) {
        if (!reserve(size_ + 1)) {
            return false;
        }
        const core::AtEnd checked([this] { check(); });
        slot(size_) = task;
        ++size_;
        return true;
    }

    // Not for an empty ring.
    Task pop() {
        core::invariant(size_ != 0, "TaskRing: a task is taken from none");
        const core::AtEnd checked([this] { check(); });
        const Task oldest = slot(0);
        first_ = (first_ + 1) & (capacity_ - 1);
        --size_;
        return oldest;
    }

    // Takes out the oldest task like that one; false if there is none.
    bool remove(Task task) {
        const core::AtEnd checked([this] { check(); });
        for (std::size_t i = 0; i < size_; ++i) {
            if (slot(i) == task) {
                for (--size_; i < size_; ++i) {
                    slot(i) = slot(i + 1);
                }
                return true;
            }
        }
        return false;
    }

    void clear() { size_ = 0; }

    void swap(TaskRing& other) noexcept {
        slots_.swap(other.slots_);
        std::swap(capacity_, other.capacity_);
        std::swap(first_, other.first_);
        std::swap(size_, other.size_);
    }

private:
    static constexpr std::size_t kFirstCapacity = 4; // small, because there may be many rings

    Task& slot(std::size_t number) { return slots_[(first_ + number) & (capacity_ - 1)]; }

    void check() const {
        core::invariant(capacity_ == 0 || std::has_single_bit(capacity_),
                        "TaskRing: its capacity is no power of two");
        core::invariant((slots_ == nullptr) == (capacity_ == 0),
                        "TaskRing: capacity without slots, or slots without capacity");
        core::invariant(size_ <= capacity_, "TaskRing: more tasks than slots");
        core::invariant(first_ == 0 || first_ < capacity_,
                        "TaskRing: the first task is in no slot");
    }

    bool grow(std::size_t capacity) {
        std::unique_ptr<Task[]> larger(new (std::nothrow) Task[capacity]);
        if (!larger) {
            return false;
        }
        for (std::size_t i = 0; i < size_; ++i) {
            larger[i] = slot(i);
        }
        const core::AtEnd checked([this] { check(); });
        slots_ = std::move(larger);
        capacity_ = capacity;
        first_ = 0;
        return true;
    }

    std::unique_ptr<Task[]> slots_;
    std::size_t capacity_ = 0; // a power of two
    std::size_t first_ = 0;
    std::size_t size_ = 0;
};

} // namespace tasks

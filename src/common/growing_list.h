// A list that one thread adds to while others read it.
#pragma once

#include "Common/Allocator.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>

namespace common {

// The list grows by whole blocks, so its items never move and readers take no lock. Nobody may add
// or read while the list is destroyed or swapped.
template<class T>
class GrowingList {
public:
    GrowingList() = default;
    GrowingList(const GrowingList&) = delete;
    GrowingList& operator=(const GrowingList&) = delete;
    ~GrowingList() {
        for (Block* block = first_.load(std::memory_order_relaxed); block != nullptr;) {
            delete std::exchange(block, block->next.load(std::memory_order_relaxed));
        }
    }

    // The place to set the next item at; add() then makes it part of the list. Both are for one
    // thread alone. place() throws std::bad_alloc.
    T& place() {
        if (last_ == nullptr || used_ == last_->items.size()) {
            addBlock();
        }
        return last_->items[used_];
    }
    void add() {
        ++used_;
        size_.store(size_.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }

    std::size_t size() const { return size_.load(std::memory_order_acquire); }

    // Calls back with each item that is in the list by now.
    template<class Visit>
    void read(Visit visit) const {
        std::size_t left = size();
        for (const Block* block = first_.load(std::memory_order_acquire); left > 0;
             block = block->next.load(std::memory_order_acquire)) {
            const std::size_t count = std::min(left, block->items.size());
            std::for_each_n(block->items.begin(), count, visit);
            left -= count;
        }
    }

    void swap(GrowingList& other) noexcept {
        swap(first_, other.first_);
        swap(size_, other.size_);
        std::swap(last_, other.last_);
        std::swap(used_, other.used_);
    }

private:
    static constexpr std::size_t kSmallestBlock = 16;
    static constexpr std::size_t kLargestBlock = 2048;

    struct Block {
        explicit Block(std::size_t count) : items(count) {}

        qz::vector<T> items;
        std::atomic<Block*> next{nullptr};
    };

    template<class Value>
    static void swap(std::atomic<Value>& one, std::atomic<Value>& other) noexcept {
        one.store(other.exchange(one.load(std::memory_order_relaxed), std::memory_order_relaxed),
                  std::memory_order_relaxed);
    }

    // Sets all items now, which touches the memory at once and not bit by bit as items are added.
    void addBlock() {
        const std::size_t count =
            last_ == nullptr ? kSmallestBlock : std::min(2 * last_->items.size(), kLargestBlock);
        auto* const block = new Block(count);
        (last_ == nullptr ? first_ : last_->next).store(block, std::memory_order_release);
        last_ = block;
        used_ = 0;
    }

    std::atomic<Block*> first_{nullptr};
    std::atomic<std::size_t> size_{0};
    Block* last_ = nullptr; // the adding thread's own, as is the next
    std::size_t used_ = 0;  // of the last block
};

} // namespace common

#include "Mail/Pool.h"

#include "core/invariant.h"
#include "platform/guarded_memory.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <mutex>

namespace {

constexpr std::uint64_t kBlockUnit = std::uint64_t{128} * 1024;
constexpr std::uint64_t kMaxBlocks = 8192;
constexpr std::uint64_t kTableSize = kMaxBlocks * sizeof(void*);

// 0 if the size is out of range.
std::uint64_t blockSizeFor(std::uint64_t itemSize, std::uint32_t itemsPerBlock) {
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max() - kBlockUnit;
    if (itemsPerBlock == 0 || itemSize > kLargest / itemsPerBlock) {
        return 0;
    }
    return (itemSize * itemsPerBlock + kBlockUnit - 1) / kBlockUnit * kBlockUnit;
}

// In as many blocks a check looks for an item.
constexpr std::uint64_t kBlocksToCheck = 4;

const unsigned char* bytes(const void* memory) {
    return static_cast<const unsigned char*>(memory);
}

} // namespace

Mem::Pool::Pool(std::uint64_t itemSize, std::uint32_t itemsPerBlock)
    : itemSize_(std::max<std::uint64_t>(itemSize, sizeof(void*)))
    , blocks_(static_cast<void**>(platform::allocateGuarded(kTableSize)))
    , maxBlocks_(kMaxBlocks)
    , blockSize_(blockSizeFor(itemSize_, itemsPerBlock)) {}

Mem::Pool::~Pool() {
    std::for_each_n(blocks_, blockCount_,
                    [this](void* block) { platform::releaseGuarded(block, blockSize_); });
    platform::releaseGuarded(blocks_, kTableSize);
}

// Of the free items the first is looked at: whoever writes to an item after giving it back, or
// gives it back twice, breaks the list there.
inline void Mem::Pool::check() const {
    using core::invariant;
    if (blocks_ == nullptr || blockCount_ == 0) {
        invariant(blockCount_ == 0 && remaining_ == 0 && freeList_ == nullptr,
                  "Mem::Pool: items without a block");
        return;
    }
    invariant(blockCount_ <= maxBlocks_, "Mem::Pool: more blocks than the table has room for");
    invariant(cursor_ + remaining_ == bytes(blocks_[blockCount_ - 1]) + blockSize_,
              "Mem::Pool: what is left is not the rest of the last block");
    if (freeList_ != nullptr && blockCount_ <= kBlocksToCheck) {
        invariant(isItem(freeList_), "Mem::Pool: what is free is no item of it");
        const void* next = nullptr;
        std::memcpy(&next, freeList_, sizeof next);
        invariant(next != freeList_, "Mem::Pool: an item is free twice");
    }
}

inline bool Mem::Pool::isItem(const void* item) const {
    for (std::uint64_t i = 0; i < blockCount_; ++i) {
        const auto offset = static_cast<std::uint64_t>(bytes(item) - bytes(blocks_[i]));
        if (offset <= blockSize_ - itemSize_) {
            return offset % itemSize_ == 0;
        }
    }
    return false;
}

void* Mem::Pool::alloc() {
    const std::lock_guard lock(lock_);
    const core::AtEnd checked([this] { check(); });
    if (freeList_ != nullptr) {
        return pop();
    }
    return itemSize_ <= remaining_ || grow() ? carve() : nullptr;
}

void Mem::Pool::free(void* item) {
    if (item == nullptr) {
        return;
    }
    const std::lock_guard lock(lock_);
    const core::AtEnd checked([this] { check(); });
    std::memcpy(item, &freeList_, sizeof freeList_);
    freeList_ = item;
}

// Items follow each other without padding, so a link may be unaligned: memcpy reads it.
void* Mem::Pool::pop() {
    void* const item = freeList_;
    std::memcpy(&freeList_, item, sizeof freeList_);
    return item;
}

void* Mem::Pool::carve() {
    void* const item = cursor_;
    cursor_ += itemSize_;
    remaining_ -= itemSize_;
    return item;
}

bool Mem::Pool::grow() {
    if (blocks_ == nullptr || blockCount_ == maxBlocks_) {
        return false;
    }
    void* const block = platform::allocateGuarded(blockSize_);
    if (block == nullptr) {
        return false;
    }
    blocks_[blockCount_++] = block;
    cursor_ = static_cast<unsigned char*>(block);
    remaining_ = blockSize_;
    return true;
}

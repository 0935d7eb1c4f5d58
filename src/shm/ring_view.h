// The bytes of a ring buffer, wherever they are and whoever else writes to them at the same time.
//
// Nothing that is read from the block is believed beyond the bounds that were found when it was
// attached to: a position outside of the data counts as its start. A position and the count of its
// wraps are one word, so a party killed between any two instructions leaves a block in order.
//
// Readers take no lock against the writer, who may overwrite what they are copying. So the bytes
// are copied in atomic pieces, each a release or an acquire: whoever has read a byte of a new
// record also sees that the old one was given up, by `oldest`, and drops what he has read.
#pragma once

#include "Shm/RingBuffer.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace shm {

static_assert(std::endian::native == std::endian::little, "the block is little-endian");

struct alignas(8) Cursor {
    std::uint32_t pos;
    std::uint32_t lap;

    bool operator==(const Cursor&) const = default;
    bool isBehind(Cursor other) const {
        return lap < other.lap || (lap == other.lap && pos < other.pos);
    }
};

// The start of a block.
struct RingHeader {
    std::uint32_t totalSize;
    std::uint32_t dataStart;
    std::uint32_t dataSize;
    std::uint32_t dataEnd;
    Cursor write;
    Cursor oldest;
};
static_assert(sizeof(RingHeader) == 32 && offsetof(RingHeader, oldest) == 24);

// How records begin, and what their beginning says of how many bytes follow it; more than any block
// has if it makes no sense.
struct Framing {
    static constexpr std::uint32_t kMostHead = 24;

    std::uint32_t head;
    std::uint64_t (*payload)(const char* head);
};

struct Record {
    Cursor start;
    Cursor payload;
    std::uint64_t length; // of the payload
    char head[Framing::kMostHead];
};

inline void storeShared(char* to, const char* from, std::size_t count) {
    using Word = std::uint64_t;
    for (; count > 0 && reinterpret_cast<std::uintptr_t>(to) % sizeof(Word) != 0; --count) {
        std::atomic_ref(*to++).store(*from++, std::memory_order_release);
    }
    for (; count >= sizeof(Word); count -= sizeof(Word)) {
        Word word;
        std::memcpy(&word, from, sizeof word);
        std::atomic_ref(*reinterpret_cast<Word*>(to)).store(word, std::memory_order_release);
        to += sizeof word;
        from += sizeof word;
    }
    for (; count > 0; --count) {
        std::atomic_ref(*to++).store(*from++, std::memory_order_release);
    }
}

inline void loadShared(char* to, char* from, std::size_t count) {
    using Word = std::uint64_t;
    for (; count > 0 && reinterpret_cast<std::uintptr_t>(from) % sizeof(Word) != 0; --count) {
        *to++ = std::atomic_ref(*from++).load(std::memory_order_acquire);
    }
    for (; count >= sizeof(Word); count -= sizeof(Word)) {
        const Word word =
            std::atomic_ref(*reinterpret_cast<Word*>(from)).load(std::memory_order_acquire);
        std::memcpy(to, &word, sizeof word);
        to += sizeof word;
        from += sizeof word;
    }
    for (; count > 0; --count) {
        *to++ = std::atomic_ref(*from++).load(std::memory_order_acquire);
    }
}

class RingView {
public:
    // Of a buffer that has a block.
    explicit RingView(const CBaseRingBuffer& ring)
        : memory_(ring.memory), dataStart_(ring.dataStart_), dataEnd_(ring.dataEnd_) {}

    static RingHeader* headerOf(char* memory) { return reinterpret_cast<RingHeader*>(memory); }

    std::uint32_t dataSize() const { return dataEnd_ - dataStart_; }

    Cursor start() const { return {dataStart_, 0}; }
    Cursor write() const { return load(headerOf(memory_)->write); }
    Cursor oldest() const { return load(headerOf(memory_)->oldest); }
    void setWrite(Cursor cursor) const { store(headerOf(memory_)->write, cursor); }
    void setOldest(Cursor cursor) const { store(headerOf(memory_)->oldest, cursor); }

    Cursor cursorOf(unsigned long pos, unsigned long lap) const {
        return inside({pos > UINT32_MAX ? 0 : static_cast<std::uint32_t>(pos),
                       static_cast<std::uint32_t>(lap)});
    }

    // Bytes from one position to a later one.
    std::uint32_t distance(Cursor from, Cursor to) const {
        return from.pos <= to.pos ? to.pos - from.pos : to.pos + dataSize() - from.pos;
    }

    std::uint32_t freeSize() const { return dataSize() - distance(oldest(), write()); }

    // Both move the cursor by `length` bytes, at most dataSize(), and copy at most `count` of them.
    void put(Cursor& at, const char* from, std::uint64_t count, std::uint64_t length) const {
        move(at, std::min(count, length), length, [&](char* block, std::size_t part) {
            storeShared(block, from, part);
            from += part;
        });
    }
    void get(Cursor& at, char* to, std::uint64_t count, std::uint64_t length) const {
        move(at, std::min(count, length), length, [&](char* block, std::size_t part) {
            loadShared(to, block, part);
            to += part;
        });
    }
    void skip(Cursor& at, std::uint64_t length) const { get(at, nullptr, 0, length); }

    // False if no whole record is there.
    bool findRecord(const Framing& framing, Cursor start, Record& record) const {
        const std::uint64_t readable = distance(start, write());
        if (readable < framing.head) {
            return false;
        }
        record.start = record.payload = start;
        get(record.payload, record.head, framing.head, framing.head);
        record.length = framing.payload(record.head);
        return record.length <= readable - framing.head;
    }

    enum class Discarded { nothing, record, everything };

    // Where the oldest record makes no sense, nothing behind it can be found either.
    Discarded discard(const Framing& framing) const {
        const Cursor end = write();
        Record record;
        if (oldest().pos == end.pos) {
            return Discarded::nothing;
        }
        if (!findRecord(framing, oldest(), record)) {
            setOldest(end);
            return Discarded::everything;
        }
        skip(record.payload, record.length);
        setOldest(record.payload);
        return Discarded::record;
    }

private:
    Cursor inside(Cursor cursor) const {
        const bool isInside = cursor.pos >= dataStart_ && cursor.pos < dataEnd_;
        return {isInside ? cursor.pos : dataStart_, cursor.lap};
    }

    Cursor load(Cursor& shared) const {
        return inside(std::atomic_ref(shared).load(std::memory_order_acquire));
    }

    static void store(Cursor& shared, Cursor cursor) {
        std::atomic_ref(shared).store(cursor, std::memory_order_release);
    }

    // In two parts if the end of the data lies between.
    template<class Copy>
    void move(Cursor& at, std::uint64_t count, std::uint64_t length, Copy copy) const {
        const std::uint64_t untilEnd = dataEnd_ - at.pos;
        const std::uint64_t first = std::min(count, untilEnd);
        copy(memory_ + at.pos, first);
        if (count > first) {
            copy(memory_ + dataStart_, count - first);
        }
        if (length < untilEnd) {
            at.pos += static_cast<std::uint32_t>(length);
        } else {
            at = {dataStart_ + static_cast<std::uint32_t>(length - untilEnd), at.lap + 1};
        }
    }

    char* memory_;
    std::uint32_t dataStart_;
    std::uint32_t dataEnd_;
};

} // namespace shm

// The bytes of a ring buffer, which other threads and processes may write to at the same time.
//
// Positions read from the block are checked against the bounds found when it was attached: one
// outside of the data counts as the start of the data. A position and its count of laps are one
// word, so a party that is killed between any two instructions leaves a valid block.
//
// check() is about the memory of the object itself. The bytes of the block may be anybody's, so
// that nothing in them is an invariant.
//
// Readers need no lock, although the writer may overwrite what they are copying. A reader that has
// read a byte of a new record also sees by `oldest` that the old record was discarded, and drops
// what it has read.
#pragma once

#include "Shm/RingBuffer.h"
#include "core/invariant.h"
#include "shm/shared_bytes.h"

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
    // Counts of laps wrap, too: a count less than half of the range ahead is the later one.
    bool isBehind(Cursor other) const {
        constexpr std::uint32_t kHalf = 0x80000000;
        return lap == other.lap ? pos < other.pos : other.lap - lap < kHalf;
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

// Every record begins with four bytes, the prefix. Framing::rest returns how many bytes follow it,
// or more than any block has if the prefix is invalid.
inline constexpr std::uint32_t kPrefixSize = 4;

struct Framing {
    std::uint64_t (*rest)(std::uint32_t prefix);
};

struct Record {
    Cursor start;
    Cursor rest; // where the bytes behind the prefix begin
    std::uint32_t prefix;
    std::uint64_t restLength;
};

} // namespace shm

class QZ_LOCAL CBaseRingBuffer::View {
public:
    using Cursor = shm::Cursor;
    using Framing = shm::Framing;
    using Record = shm::Record;
    using RingHeader = shm::RingHeader;

    // The buffer must have a block.
    explicit View(const CBaseRingBuffer& ring)
        : memory_(ring.memory), dataStart_(ring.dataStart_), dataEnd_(ring.dataEnd_) {
        core::invariant(memory_ != nullptr && shm::isAlignedTo<alignof(RingHeader)>(memory_),
                        "ring buffer: no block, or not an aligned one");
        core::invariant(dataStart_ >= sizeof(RingHeader) && dataStart_ < dataEnd_,
                        "ring buffer: no room for data behind the header");
    }

    // Finds the reader's next record, after moving a reader that was lapped to the oldest one.
    // False if there is none.
    static bool findNext(CBaseRingBuffer& ring, const Framing& framing, Record& record,
                         int* overwritten);

    static RingHeader* headerOf(char* memory) { return reinterpret_cast<RingHeader*>(memory); }

    std::uint32_t dataSize() const { return dataEnd_ - dataStart_; }

    Cursor start() const { return {dataStart_, 0}; }
    Cursor write() const { return load(headerOf(memory_)->write); }
    Cursor oldest() const { return load(headerOf(memory_)->oldest); }
    void setWrite(Cursor cursor) const { store(headerOf(memory_)->write, cursor); }
    void setOldest(Cursor cursor) const { store(headerOf(memory_)->oldest, cursor); }

    // Whether the writer has discarded what a reader reads there, or has initialised the block
    // again.
    bool isOverwritten(Cursor reader) const {
        return reader.isBehind(oldest()) || write().isBehind(reader);
    }

    Cursor cursorOf(unsigned long pos, unsigned long lap) const {
        return inside({pos > UINT32_MAX ? 0 : static_cast<std::uint32_t>(pos),
                       static_cast<std::uint32_t>(lap)});
    }

    // Bytes from one position to a later one.
    std::uint32_t distance(Cursor from, Cursor to) const {
        return from.pos <= to.pos ? to.pos - from.pos : to.pos + dataSize() - from.pos;
    }

    std::uint32_t freeSize() const { return dataSize() - distance(oldest(), write()); }

    // put and get move the cursor by `length` bytes, at most dataSize(), and copy up to `count`.
    void put(Cursor& at, const char* from, std::uint64_t count, std::uint64_t length) const {
        move(at, std::min(count, length), length, [&](char* block, std::size_t part) {
            shm::storeShared(block, from, part);
            from += part;
        });
    }
    void get(Cursor& at, char* to, std::uint64_t count, std::uint64_t length) const {
        move(at, std::min(count, length), length, [&](char* block, std::size_t part) {
            shm::loadShared(to, block, part);
            to += part;
        });
    }
    void skip(Cursor& at, std::uint64_t length) const {
        const std::uint64_t untilEnd = dataEnd_ - at.pos;
        if (length < untilEnd) {
            at.pos += static_cast<std::uint32_t>(length);
        } else {
            at = {dataStart_ + static_cast<std::uint32_t>(length - untilEnd), at.lap + 1};
        }
        check(at);
    }

    // The same for a caller that holds the lock.
    void putAlone(Cursor& at, const char* from, std::uint64_t length) const {
        move(at, length, length, [&](char* block, std::size_t part) {
            std::memcpy(block, from, part);
            from += part;
        });
    }
    void getAlone(Cursor& at, char* to, std::uint64_t count, std::uint64_t length) const {
        move(at, std::min(count, length), length, [&](char* block, std::size_t part) {
            std::memcpy(to, block, part);
            to += part;
        });
    }

    // False if there is no whole record at `start`.
    bool findRecord(const Framing& framing, Cursor start, Record& record) const {
        const std::uint64_t readable = distance(start, write());
        if (readable < shm::kPrefixSize) {
            return false;
        }
        record.start = record.rest = start;
        record.prefix = takePrefix(record.rest);
        record.restLength = framing.rest(record.prefix);
        return record.restLength <= readable - shm::kPrefixSize;
    }

    // Of a position that this object has moved, and of what is left of a record that it reads or
    // writes in parts.
    void check(Cursor at, std::uint32_t left = 0) const {
        core::invariant(inside(at) == at, "ring buffer: a position outside of the data");
        core::invariant(left < dataSize(), "ring buffer: a record longer than the data");
    }

    enum class Discarded { nothing, record, everything };

    // If the oldest record is invalid, the records behind it cannot be found, so all are discarded.
    Discarded discard(const Framing& framing) const {
        const Cursor start = oldest(), end = write();
        Record record;
        if (start.pos == end.pos) {
            return Discarded::nothing;
        }
        if (!findRecord(framing, start, record)) {
            setOldest(end);
            return Discarded::everything;
        }
        skip(record.rest, record.restLength);
        setOldest(record.rest);
        return Discarded::record;
    }

private:
    // Reads the prefix as one word if it is aligned and does not wrap, as most are.
    std::uint32_t takePrefix(Cursor& at) const {
        std::uint32_t prefix = 0;
        char* const place = memory_ + at.pos;
        if (dataEnd_ - at.pos >= shm::kPrefixSize && shm::isAlignedTo<shm::kPrefixSize>(place)) {
            shm::loadWord<std::uint32_t>(reinterpret_cast<char*>(&prefix), place);
            skip(at, shm::kPrefixSize);
        } else {
            get(at, reinterpret_cast<char*>(&prefix), shm::kPrefixSize, shm::kPrefixSize);
        }
        return prefix;
    }

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

    // Copies in two parts if the bytes wrap at the end of the data.
    template<class Copy>
    void move(Cursor& at, std::uint64_t count, std::uint64_t length, Copy copy) const {
        const std::uint64_t first = std::min<std::uint64_t>(count, dataEnd_ - at.pos);
        if (first > 0) {
            copy(memory_ + at.pos, first);
        }
        if (count > first) {
            copy(memory_ + dataStart_, count - first);
        }
        skip(at, length);
    }

    char* memory_;
    std::uint32_t dataStart_;
    std::uint32_t dataEnd_;
};

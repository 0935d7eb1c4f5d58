#include "shm/ring_view.h"

using shm::Cursor;

namespace {

// They follow the header. Adding a record changes both `held` and `added`, so they are one word.
struct Counters {
    struct alignas(8) Records {
        std::uint32_t held;
        std::uint32_t added;
    };
    Records records;
    std::uint32_t deleted;
};

constexpr std::uint32_t kCountersSize = 12;
constexpr shm::Framing kFraming{[](std::uint32_t length) { return std::uint64_t{length}; }};

std::atomic_ref<Counters::Records> recordsOf(char* memory) {
    return std::atomic_ref(reinterpret_cast<Counters*>(memory + sizeof(shm::RingHeader))->records);
}

std::atomic_ref<std::uint32_t> deletedOf(char* memory) {
    return std::atomic_ref(reinterpret_cast<Counters*>(memory + sizeof(shm::RingHeader))->deleted);
}

} // namespace

CRingBuffer::~CRingBuffer() = default;

unsigned long CRingBuffer::GetHeaderSize() {
    return sizeof(shm::RingHeader) + kCountersSize;
}

int CRingBuffer::Open(char* block) {
    return Open(block, UINT32_MAX);
}

int CRingBuffer::Open(char* block, unsigned long size) {
    pushing_ = false;
    toPop_ = 0;
    return Attach(block, size);
}

void CRingBuffer::InitHeader(unsigned long size) {
    pushing_ = false;
    toPop_ = 0;
    CBaseRingBuffer::InitHeader(size);
    recordsOf(memory).store({0, 0}, std::memory_order_relaxed);
    deletedOf(memory).store(0, std::memory_order_relaxed);
}

int CRingBuffer::DiscardNextRecord() {
    const View::Discarded discarded =
        memory == nullptr ? View::Discarded::nothing : View(*this).discard(kFraming);
    if (discarded == View::Discarded::nothing) {
        return 0;
    }
    Counters::Records records = recordsOf(memory).load(std::memory_order_relaxed);
    const std::uint32_t gone = discarded == View::Discarded::everything ? records.held : 1;
    records.held -= gone;
    recordsOf(memory).store(records, std::memory_order_relaxed);
    const std::uint32_t deleted = deletedOf(memory).load(std::memory_order_relaxed);
    deletedOf(memory).store(deleted + gone, std::memory_order_relaxed);
    return 1;
}

int CRingBuffer::PushStart(unsigned long length) {
    pushing_ = false;
    if (memory == nullptr || length == 0 || length > UINT32_MAX - shm::kPrefixSize ||
        TrySearchMemory(length + shm::kPrefixSize) == 0) {
        return 0;
    }
    const View view(*this);
    const auto announced = static_cast<std::uint32_t>(length);
    char head[shm::kPrefixSize];
    std::memcpy(head, &announced, sizeof head);
    Cursor at = view.write();
    view.put(at, head, sizeof head, sizeof head);
    pushPos_ = at.pos;
    pushLap_ = at.lap;
    toPush_ = announced;
    view.check(at, toPush_);
    pushing_ = true;
    return 1;
}

int CRingBuffer::PushData(const char* data, unsigned long n) {
    if (!pushing_ || data == nullptr || n == 0) {
        return 0;
    }
    const auto taken = static_cast<std::uint32_t>(std::min<unsigned long>(n, toPush_));
    const View view(*this);
    Cursor at{pushPos_, pushLap_};
    view.put(at, data, taken, taken);
    pushPos_ = at.pos;
    pushLap_ = at.lap;
    toPush_ -= taken;
    view.check(at, toPush_);
    return n == taken ? 1 : 0;
}

int CRingBuffer::PushStop() {
    if (!pushing_) {
        return 0;
    }
    const View view(*this);
    Cursor at{pushPos_, pushLap_};
    view.skip(at, toPush_);
    view.setWrite(at);
    Counters::Records records = recordsOf(memory).load(std::memory_order_relaxed);
    ++records.held;
    ++records.added;
    recordsOf(memory).store(records, std::memory_order_relaxed);
    pushing_ = false;
    return toPush_ == 0 ? 1 : 0;
}

unsigned long CRingBuffer::PopStart(int* overwritten) {
    PopStop();
    shm::Record record;
    if (!View::findNext(*this, kFraming, record, overwritten)) {
        return 0;
    }
    recordPos_ = record.start.pos;
    recordLap_ = record.start.lap;
    readPos = record.rest.pos;
    readLap = record.rest.lap;
    toPop_ = static_cast<std::uint32_t>(record.restLength);
    View(*this).check(record.rest, toPop_);
    return toPop_;
}

int CRingBuffer::PopData(const char* dst, unsigned long dstLen, unsigned long n) {
    if (memory == nullptr) {
        return 0;
    }
    const View view(*this);
    const auto taken = static_cast<std::uint32_t>(std::min<unsigned long>(n, toPop_));
    Cursor at = view.cursorOf(readPos, readLap);
    view.get(at, const_cast<char*>(dst), dst == nullptr ? 0 : dstLen, taken);
    const bool isLost = taken > 0 && view.isOverwritten({recordPos_, recordLap_});
    // A lost reader goes back to the start of the record: there the next PopStart detects that the
    // writer has overwritten it.
    readPos = isLost ? recordPos_ : at.pos;
    readLap = isLost ? recordLap_ : at.lap;
    toPop_ = isLost ? 0 : toPop_ - taken;
    view.check(at, toPop_);
    return !isLost && n == taken ? 1 : 0;
}

void CRingBuffer::PopStop() {
    if (toPop_ != 0) {
        PopData(nullptr, 0, toPop_);
    }
}

unsigned long CRingBuffer::GetTotalCount() {
    return memory == nullptr ? 0 : recordsOf(memory).load(std::memory_order_relaxed).held;
}

unsigned long CRingBuffer::GetAddCount() {
    return memory == nullptr ? 0 : recordsOf(memory).load(std::memory_order_relaxed).added;
}

unsigned long CRingBuffer::GetDelCount() {
    return memory == nullptr ? 0 : deletedOf(memory).load(std::memory_order_relaxed);
}

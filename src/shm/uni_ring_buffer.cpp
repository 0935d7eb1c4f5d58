#include "shm/ring_view.h"

using shm::Cursor;

namespace {

static_assert(sizeof(tag_TUNIHeader) == shm::kPrefixSize);

// How many times Get tries if the reader is lapped each time while it copies; then it returns 0.
constexpr int kAttempts = 16;

// The length is in the upper half of the prefix.
constexpr shm::Framing kFraming{[](std::uint32_t prefix) { return std::uint64_t{prefix >> 16}; }};

} // namespace

CUNIRingBuffer::~CUNIRingBuffer() = default;

int CUNIRingBuffer::DiscardNextRecord() {
    return memory != nullptr && View(*this).discard(kFraming) != View::Discarded::nothing;
}

int CUNIRingBuffer::Put(const tag_TUNIHeader* header, const char* data, unsigned short dataLen) {
    if (header == nullptr || header->length < dataLen || (data == nullptr && dataLen > 0) ||
        TrySearchMemory(header->length + shm::kPrefixSize) == 0) {
        return 0;
    }
    const View view(*this);
    const std::uint32_t ownHeader = shm::kPrefixSize + header->length - dataLen;
    Cursor at = view.write();
    view.put(at, reinterpret_cast<const char*>(header), ownHeader, ownHeader);
    view.put(at, data, dataLen, dataLen);
    view.setWrite(at);
    return 1;
}

int CUNIRingBuffer::Get(const char* dst, unsigned long cap, int* overwritten) {
    int lapped = 0;
    int isWhole = 0;
    shm::Record record;
    bool isLost = true;
    for (int attempt = 0; isLost && attempt < kAttempts; ++attempt) {
        if (!View::findNext(*this, kFraming, record, &lapped)) {
            break;
        }
        const View view(*this);
        const std::uint64_t size = shm::kPrefixSize + record.restLength;
        Cursor at = record.start;
        view.get(at, const_cast<char*>(dst), dst == nullptr ? 0 : cap, size);
        isLost = view.isOverwritten(record.start);
        if (!isLost) {
            readPos = at.pos;
            readLap = at.lap;
            isWhole = dst != nullptr && size <= cap ? 1 : 0;
        }
    }
    if (overwritten != nullptr) {
        *overwritten = lapped;
    }
    return isWhole;
}

int CUNIRingBuffer::ReadHeader(tag_TUNIHeader* header, int* overwritten) {
    shm::Record record;
    const unsigned long pos = readPos, lap = readLap;
    const bool isFound = header != nullptr && View::findNext(*this, kFraming, record, overwritten);
    readPos = pos;
    readLap = lap;
    if (!isFound) {
        return 0;
    }
    std::memcpy(header, &record.prefix, sizeof *header);
    return 1;
}

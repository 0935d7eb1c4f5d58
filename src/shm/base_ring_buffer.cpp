#include "shm/ring_view.h"

#include <new>

namespace {

bool isAligned(const char* block) {
    return reinterpret_cast<std::uintptr_t>(block) % alignof(shm::RingHeader) == 0;
}

// How many times findNext tries if the writer laps the reader. Two are nearly always enough.
constexpr int kAttempts = 16;

} // namespace

using shm::Cursor;
using shm::RingHeader;

CBaseRingBuffer::~CBaseRingBuffer() {
    Detach();
}

unsigned long CBaseRingBuffer::GetHeaderSize() {
    return sizeof(RingHeader);
}

int CBaseRingBuffer::InitNew(unsigned long size) {
    if (size <= GetHeaderSize() || size > UINT32_MAX) {
        return 0;
    }
    char* const block = new (std::nothrow) char[size]();
    if (block == nullptr || Init(block, size) == 0) {
        delete[] block;
        return 0;
    }
    ownsMemory = true;
    return 1;
}

int CBaseRingBuffer::Init(char* block, unsigned long size) {
    if (block == nullptr || !isAligned(block) || size <= GetHeaderSize() || size > UINT32_MAX) {
        return 0;
    }
    Detach();
    memory = block;
    InitHeader(size);
    ReadFromOldest();
    return 1;
}

int CBaseRingBuffer::Open(char* block) {
    return Attach(block, UINT32_MAX);
}

// Accepts only a header whose first four words agree with each other. They are not read again
// later.
int CBaseRingBuffer::Attach(char* block, unsigned long limit) {
    const unsigned long headerSize = GetHeaderSize();
    if (block == nullptr || !isAligned(block) || limit <= headerSize) {
        return 0;
    }
    RingHeader& header = *View::headerOf(block);
    const std::uint32_t size = std::atomic_ref(header.totalSize).load(std::memory_order_acquire);
    const std::uint32_t start = std::atomic_ref(header.dataStart).load(std::memory_order_relaxed);
    if (size > limit || start < headerSize || start >= size ||
        std::atomic_ref(header.dataSize).load(std::memory_order_relaxed) != size - start ||
        std::atomic_ref(header.dataEnd).load(std::memory_order_relaxed) != size) {
        return 0;
    }
    Detach();
    memory = block;
    dataStart_ = start;
    dataEnd_ = size;
    ReadFromOldest();
    return 1;
}

void CBaseRingBuffer::Detach() {
    if (ownsMemory) {
        delete[] memory;
    }
    memory = nullptr;
    ownsMemory = false;
}

void CBaseRingBuffer::ReadFromOldest() {
    const Cursor oldest = View(*this).oldest();
    readPos = oldest.pos;
    readLap = oldest.lap;
}

// Stores the size last: as long as it is 0, the block counts as not initialised.
void CBaseRingBuffer::InitHeader(unsigned long size) {
    dataStart_ = static_cast<std::uint32_t>(GetHeaderSize());
    dataEnd_ = static_cast<std::uint32_t>(size);
    RingHeader& header = *View::headerOf(memory);
    std::atomic_ref(header.dataStart).store(dataStart_, std::memory_order_relaxed);
    std::atomic_ref(header.dataSize).store(dataEnd_ - dataStart_, std::memory_order_relaxed);
    std::atomic_ref(header.dataEnd).store(dataEnd_, std::memory_order_relaxed);
    const View view(*this);
    view.setWrite(view.start());
    view.setOldest(view.start());
    std::atomic_ref(header.totalSize).store(dataEnd_, std::memory_order_release);
}

int CBaseRingBuffer::PutBlock(const char* src, unsigned long srcLen, unsigned long blockLen) {
    if (memory == nullptr) {
        return 0;
    }
    const View view(*this);
    if (blockLen > view.dataSize()) {
        return 0;
    }
    Cursor at = view.write();
    view.put(at, src, src == nullptr ? 0 : srcLen, blockLen);
    view.setWrite(at);
    return 1;
}

int CBaseRingBuffer::GetBlock(char* dst, unsigned long dstLen, unsigned long blockLen,
                              unsigned long* pos, unsigned long* lap) {
    if (memory == nullptr || pos == nullptr || lap == nullptr) {
        return 0;
    }
    const View view(*this);
    if (blockLen > view.dataSize()) {
        return 0;
    }
    Cursor at = view.cursorOf(*pos, *lap);
    view.get(at, dst, dst == nullptr ? 0 : dstLen, blockLen);
    *pos = at.pos;
    *lap = at.lap;
    return 1;
}

// The loop is bounded whatever another party adds meanwhile: a record takes at least one byte, so
// there are never more records than bytes.
int CBaseRingBuffer::TrySearchMemory(unsigned long needed) {
    if (memory == nullptr) {
        return 0;
    }
    const View view(*this);
    for (std::uint32_t records = view.dataSize(); needed >= view.freeSize(); --records) {
        if (records == 0 || DiscardNextRecord() == 0) {
            return 0;
        }
    }
    return 1;
}

int CBaseRingBuffer::DiscardNextRecord() {
    return 0;
}

int CBaseRingBuffer::IsFree() {
    return memory == nullptr || View(*this).oldest().pos == View(*this).write().pos ? 1 : 0;
}

unsigned long CBaseRingBuffer::GetFreeSize() {
    return memory == nullptr ? 0 : View(*this).freeSize();
}

unsigned long CBaseRingBuffer::GetBusySize() {
    if (IsFree() != 0) {
        return 0;
    }
    const View view(*this);
    return view.distance(view.cursorOf(readPos, readLap), view.write());
}

int CBaseRingBuffer::IsReadOverwritten() {
    if (memory == nullptr) {
        return 0;
    }
    const View view(*this);
    return view.isOverwritten(view.cursorOf(readPos, readLap)) ? 1 : 0;
}

void CBaseRingBuffer::CorrectReadPosition(int* corrected) {
    const int isOverwritten = IsReadOverwritten();
    if (isOverwritten != 0) {
        ReadFromOldest();
    }
    if (corrected != nullptr) {
        *corrected = isOverwritten;
    }
}

// A record that was found counts only if the writer has not discarded it meanwhile. If it has, the
// search begins again at the oldest record.
bool CBaseRingBuffer::View::findNext(CBaseRingBuffer& ring, const shm::Framing& framing,
                                     shm::Record& record, int* overwritten) {
    int lapped = 0;
    bool isFound = false;
    for (int attempt = 0; ring.memory != nullptr && attempt < kAttempts; ++attempt) {
        int corrected = 0;
        ring.CorrectReadPosition(&corrected);
        lapped |= corrected;
        const View view(ring);
        const Cursor start = view.cursorOf(ring.readPos, ring.readLap);
        isFound = view.findRecord(framing, start, record);
        if (!view.isOverwritten(start)) {
            break;
        }
        isFound = false;
    }
    if (overwritten != nullptr) {
        *overwritten = lapped;
    }
    return isFound;
}

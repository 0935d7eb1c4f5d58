#include "platform/shared_memory.h"
#include "platform/thread.h"
#include "shm/ring_view.h"

#include <array>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <exception>
#include <limits>
#include <new>
#include <string>
#include <string_view>

using shm::Cursor;

namespace {

constexpr unsigned long kDefaultSize = 20000;
constexpr std::size_t kMostName = 64;
constexpr std::uint32_t kMeasure = 0xFFFFFFFF;
constexpr std::size_t kFormatRoom = 1024;
constexpr std::chrono::milliseconds kPatience(1000);

struct MessageHead {
    std::uint32_t size; // bytes that follow this field
    std::uint32_t words[3];
    std::int64_t time;
};
constexpr std::uint32_t kHeadSize = sizeof(MessageHead);
constexpr std::uint32_t kHeadRest = kHeadSize - shm::kPrefixSize;
static_assert(kHeadSize == 24);

constexpr shm::Framing kFraming{
    [](std::uint32_t size) { return size < kHeadRest ? UINT64_MAX : std::uint64_t{size}; }};

// Memory without a name has no mutex: no other process can reach it.
class Lock {
public:
    explicit Lock(void* mutex)
        : mutex_(static_cast<platform::SharedMutex*>(mutex))
        , isHeld_(mutex == nullptr || platform::lockShared(*mutex_, kPatience)) {}
    ~Lock() {
        if (isHeld_ && mutex_ != nullptr) {
            platform::unlockShared(*mutex_);
        }
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    explicit operator bool() const { return isHeld_; }

private:
    platform::SharedMutex* mutex_;
    bool isHeld_;
};

} // namespace

CRingMessageBuffer::~CRingMessageBuffer() {
    Close(0);
}

CRingMessageBuffer* CRingMessageBuffer::OpenNew(const char* name, unsigned long size,
                                                SECURITY_ATTRIBUTES* security) {
    auto* const ring = new (std::nothrow) CRingMessageBuffer;
    if (ring != nullptr && ring->Open(name, size, security) == 0) {
        delete ring;
        return nullptr;
    }
    return ring;
}

int CRingMessageBuffer::Open(const char* name, unsigned long size, SECURITY_ATTRIBUTES* security) {
    const std::size_t length = name == nullptr ? 0 : strnlen(name, kMostName + 1);
    if (memory != nullptr || length == 0 || length > kMostName ||
        std::strchr(name, '/') != nullptr || size > UINT32_MAX) {
        return 0;
    }
    const unsigned long wanted = size == 0 ? kDefaultSize : size;
    const platform::NoCancellation guard; // a cancelled thread cannot end in a destructor
    try {
        mapping = platform::openSharedMemory(name, static_cast<std::uint32_t>(wanted), security);
        if (mapping != nullptr) {
            mutex = platform::openSharedMutex((std::string(name) + "_mutex").c_str(), security);
        }
    } catch (const std::exception&) { // no memory
    }
    if (mutex == nullptr || OpenBlock(wanted) == 0) {
        Close(0);
        return 0;
    }
    return 1;
}

// Whoever takes the lock first initialises the memory, not whoever made it: that process may have
// died, or been overtaken, before. New memory is all zeros.
int CRingMessageBuffer::OpenBlock(unsigned long size) {
    const Lock lock(mutex);
    const auto& shared = *static_cast<platform::SharedMemory*>(mapping);
    const std::uint64_t mapped = std::min<std::uint64_t>(platform::sizeOf(shared), UINT32_MAX);
    if (!lock || mapped <= GetHeaderSize()) {
        return 0;
    }
    char* const block = platform::bytesOf(shared);
    const bool isNew = std::atomic_ref(View::headerOf(block)->totalSize).load() == 0;
    return isNew ? Init(block, std::min(size, static_cast<unsigned long>(mapped)))
                 : Attach(block, static_cast<unsigned long>(mapped));
}

int CRingMessageBuffer::Close(int deleteSelf) {
    const platform::NoCancellation guard;
    Detach();
    if (mutex != nullptr) {
        platform::closeSharedMutex(static_cast<platform::SharedMutex*>(mutex));
    }
    if (mapping != nullptr) {
        platform::closeSharedMemory(static_cast<platform::SharedMemory*>(mapping));
    }
    mutex = nullptr;
    mapping = nullptr;
    if (deleteSelf != 0) {
        delete this;
    }
    return 1;
}

int CRingMessageBuffer::DiscardNextRecord() {
    return memory != nullptr && View(*this).discard(kFraming) != View::Discarded::nothing;
}

int CRingMessageBuffer::AddMessage(const char* text, unsigned long length) {
    if (memory == nullptr || (text == nullptr && length != 0)) {
        return 0;
    }
    if (length == kMeasure || length == std::numeric_limits<unsigned long>::max()) {
        length = static_cast<unsigned long>(std::strlen(text));
    }
    if (length > UINT32_MAX - kHeadSize) {
        return 0;
    }
    const Lock lock(mutex);
    if (!lock || TrySearchMemory(length + kHeadSize) == 0) {
        return 0;
    }
    const MessageHead head{static_cast<std::uint32_t>(length) + kHeadRest,
                           {0, 0, 0},
                           static_cast<std::int64_t>(std::time(nullptr))};
    const View view(*this);
    Cursor at = view.write();
    view.putAlone(at, std::bit_cast<std::array<char, kHeadSize>>(head).data(), kHeadSize);
    view.putAlone(at, text, length);
    view.setWrite(at);
    return 1;
}

int CRingMessageBuffer::AddFormatMessage(const char* format, ...) {
    char text[kFormatRoom];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return length < 0 ? 0 : AddMessage(text, static_cast<unsigned long>(std::strlen(text)));
}

int CRingMessageBuffer::GetMessageA(unsigned long& word1, unsigned long& word2,
                                    unsigned long& word3, int64_t& time, const char* text,
                                    unsigned long capacity) {
    // A reader that has read everything and polls does not take the lock from the others.
    if (memory == nullptr || View(*this).write() == Cursor{static_cast<std::uint32_t>(readPos),
                                                           static_cast<std::uint32_t>(readLap)}) {
        return 0;
    }
    const Lock lock(mutex);
    shm::Record record;
    if (!lock || !View::findNext(*this, kFraming, record, nullptr)) {
        return 0;
    }
    const View view(*this);
    Cursor at = record.start;
    std::array<char, kHeadSize> bytes{};
    view.getAlone(at, bytes.data(), kHeadSize, kHeadSize);
    const std::uint64_t length = record.restLength - kHeadRest;
    const std::uint64_t room = text == nullptr ? 0 : capacity;
    char* const copy = const_cast<char*>(text);
    view.getAlone(at, copy, room, length);
    if (length < room) {
        copy[length] = 0;
    }
    readPos = at.pos;
    readLap = at.lap;
    const auto head = std::bit_cast<MessageHead>(bytes);
    word1 = head.words[0];
    word2 = head.words[1];
    word3 = head.words[2];
    time = head.time;
    return length <= room ? 1 : 2;
}

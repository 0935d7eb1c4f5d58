// A block of shared memory into which another process may write anything at any time: nothing
// outside the block is accessed, and every call ends.
#include "Shm/RingBuffer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace {

struct Header : tag_TUNIHeader {
    char more[64];
};

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool isEmpty() const { return size_ == 0; }

    std::uint8_t byte() {
        std::uint8_t value = 0;
        take(&value, 1);
        return value;
    }
    std::uint32_t word() {
        std::uint32_t value = 0;
        take(&value, sizeof value);
        return value;
    }
    void take(void* to, std::size_t count) {
        count = std::min(count, size_);
        std::memcpy(to, data_, count);
        data_ += count;
        size_ -= count;
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
};

// Allocated with exactly its size, so that the sanitizer detects overruns.
class Block {
public:
    explicit Block(Input& input) : size_(64 + input.byte() * 4U), bytes_(new char[size_]()) {
        CRingBuffer().Init(bytes_.get(), size_);
    }

    char* get() const { return bytes_.get(); }

    void scribble(Input& input) {
        const std::uint32_t place = input.byte() * 4U % (size_ - 4);
        const std::uint32_t value = input.word();
        std::memcpy(bytes_.get() + place, &value, sizeof value);
    }
    void scribbleSmall(Input& input) {
        const std::uint32_t place = input.byte() * 4U % (size_ - 4);
        const std::uint32_t value = input.byte() * 4U;
        std::memcpy(bytes_.get() + place, &value, sizeof value);
    }

private:
    std::uint32_t size_;
    std::unique_ptr<char[]> bytes_;
};

struct Parties {
    explicit Parties(char* block) { open(block); }

    void open(char* block) {
        plain.Open(block);
        ring.Open(block);
        uni.Open(block);
        messages.CBaseRingBuffer::Open(block);
    }

    CBaseRingBuffer plain;
    CRingBuffer ring;
    CUNIRingBuffer uni;
    CRingMessageBuffer messages;
};

void write(Parties& parties, Input& input) {
    std::vector<char> bytes(300, 'x');
    const std::uint8_t length = input.byte();
    switch (input.byte() % 4) {
    case 0:
        parties.ring.PushStart(input.byte() == 0 ? input.word() : length);
        parties.ring.PushData(bytes.data(), length / 2);
        parties.ring.PushData(bytes.data(), input.byte());
        parties.ring.PushStop();
        break;
    case 1: {
        Header header{};
        header.length = static_cast<std::uint16_t>(length % 64 + 200);
        parties.uni.Put(&header, bytes.data(), 200);
        break;
    }
    case 2:
        parties.messages.AddMessage(bytes.data(), length);
        break;
    default:
        parties.plain.PutBlock(bytes.data(), input.byte(), input.byte() * 5U);
    }
}

void read(Parties& parties, Input& input) {
    const std::vector<char> bytes(input.byte());
    const auto room = static_cast<unsigned long>(bytes.size());
    int overwritten = 0;
    switch (input.byte() % 4) {
    case 0:
        parties.ring.PopStart(&overwritten);
        parties.ring.PopData(bytes.data(), room, input.byte());
        parties.ring.PopStop();
        break;
    case 1: {
        tag_TUNIHeader header{};
        parties.uni.ReadHeader(&header, &overwritten);
        parties.uni.Get(bytes.data(), room, &overwritten);
        break;
    }
    case 2: {
        unsigned long word = 0;
        std::int64_t time = 0;
        parties.messages.GetMessageA(word, word, word, time, bytes.data(), room);
        break;
    }
    default: {
        unsigned long pos = input.word(), lap = input.word();
        std::vector<char> copy(bytes.size());
        parties.plain.GetBlock(copy.data(), room, input.word(), &pos, &lap);
        parties.plain.GetBlock(copy.data(), room, input.byte(), &pos, &lap);
    }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, std::min<std::size_t>(size, 4000));
    Block block(input);
    Parties parties(block.get());
    while (!input.isEmpty()) {
        switch (input.byte() % 6) {
        case 0:
            block.scribble(input);
            break;
        case 1:
            block.scribbleSmall(input);
            break;
        case 2:
            parties.open(block.get());
            break;
        case 3:
            read(parties, input);
            break;
        default:
            write(parties, input);
        }
    }
    return 0;
}

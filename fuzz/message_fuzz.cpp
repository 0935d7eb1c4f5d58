// Any bytes as a message, read in any way: readers end, stay within the message, and read the same
// as from a simple string of bits.
#include "require.h"

#include "Mail/Stream.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using ChunkPtr = Mem::Ptr<Mail::Chunk>;

// The first byte says how many bytes of instructions follow, the rest is the message.
struct Input {
    Bytes instructions;
    Bytes message;

    Input(const std::uint8_t* data, std::size_t size) {
        const std::size_t count = size == 0 ? 0 : std::min<std::size_t>(data[0], size - 1);
        const std::uint8_t* const rest = size == 0 ? data : data + 1;
        instructions.assign(rest, rest + count);
        message.assign(rest + count, data + size);
    }
};

class BitString {
public:
    explicit BitString(const Bytes& bytes) : bytes_(bytes) {}

    std::uint64_t get(unsigned width) {
        std::uint64_t value = 0;
        for (; width != 0; --width, ++position_) {
            const std::size_t byte = position_ / 8;
            const unsigned octet = byte < bytes_.size() ? bytes_[byte] : 0;
            const unsigned bit = octet >> (7 - position_ % 8) & 1;
            value = value << 1 | bit;
        }
        return value;
    }

private:
    const Bytes& bytes_;
    std::size_t position_ = 0;
};

// Several writers write the message, so that its chunks end anywhere.
Mail::Message messageOf(const Input& input) {
    const Mail::Message message(1);
    std::size_t done = 0, turn = 0;
    while (done != input.message.size()) {
        const std::size_t piece = input.instructions.empty()
                                      ? 1000
                                      : input.instructions[turn++ % input.instructions.size()];
        const std::size_t end = std::min(input.message.size(), done + piece * 3 + 1);
        Mail::Writer writer(message);
        for (; done != end; ++done) {
            writer.put(input.message[done], 8);
        }
    }
    return message;
}

void readObject(Mail::Reader& reader, BitString& bits, unsigned width) {
    Bytes object(40, 0xA5), same = object;
    reader.stream(object.data(), static_cast<int>(width));
    if (width % 8 != 0) {
        same[width / 8] = static_cast<std::uint8_t>(bits.get(width % 8));
    }
    for (std::size_t i = width / 8; i != 0; --i) {
        same[i - 1] = static_cast<std::uint8_t>(bits.get(8));
    }
    require(object == same);
}

void readFields(const Input& input) {
    const Mail::Message message = messageOf(input);
    require(message.getSize() == input.message.size());
    Mail::Reader reader(message);
    BitString bits(input.message);
    for (const std::uint8_t instruction : input.instructions) {
        const unsigned width = instruction % 25 + 1;
        switch (instruction / 25) {
        case 0:
            readObject(reader, bits, instruction * 12U);
            break;
        case 1:
            require(reader.readFixed(static_cast<int>(width)) ==
                    static_cast<double>(bits.get(width)) / static_cast<double>((1U << width) - 1));
            break;
        case 2:
            reader.readFixed(static_cast<int>(width), 26 - static_cast<int>(width));
            bits.get(26);
            break;
        case 3:
            reader.readHalf();
            bits.get(16);
            break;
        default:
            require(reader.get(static_cast<unsigned char>(width)) == bits.get(width));
        }
    }
}

// The bytes that a byte reader should still have to read.
class Expected {
public:
    void add(const Bytes& bytes) { left_.insert(left_.end(), bytes.begin(), bytes.end()); }
    void clear() { left_.clear(); }
    std::size_t size() const { return left_.size(); }

    Bytes take(std::size_t count) {
        count = std::min(count, left_.size());
        Bytes taken(left_.begin(), left_.begin() + static_cast<std::ptrdiff_t>(count));
        left_.erase(left_.begin(), left_.begin() + static_cast<std::ptrdiff_t>(count));
        return taken;
    }

private:
    std::deque<std::uint8_t> left_;
};

Bytes bytesOf(const ChunkPtr& chain) {
    Bytes bytes;
    for (const Mail::Chunk* chunk = chain.get(); chunk != nullptr; chunk = chunk->next().get()) {
        bytes.insert(bytes.end(), chunk->begin(), chunk->end());
    }
    return bytes;
}

int intOf(const Bytes& bytes, std::size_t count) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        value = value << 8 | (i < bytes.size() ? bytes[i] : 0U);
    }
    return static_cast<int>(value);
}

void readBytes(const Input& input) {
    constexpr std::size_t kMost = 1 << 20;
    const ChunkPtr chain =
        Mail::ByteWriter().putData(input.message.data(), input.message.size()).end();
    Mail::ByteReader reader(chain);
    Expected expected;
    expected.add(input.message);
    for (const std::uint8_t instruction : input.instructions) {
        const std::size_t count = instruction / 8 * 37;
        switch (instruction % 8) {
        case 0:
            if (expected.size() < kMost) {
                reader.add(chain);
                expected.add(input.message);
            }
            break;
        case 1:
            expected.clear();
            if (reader.init(chain)) {
                expected.add(input.message);
            }
            break;
        case 2: {
            const ChunkPtr rest = reader.getRemainingData();
            require(bytesOf(rest) == expected.take(expected.size()));
            reader.add(rest);
            expected.add(bytesOf(rest));
            break;
        }
        case 3: {
            const ChunkPtr part = reader.getData(count);
            require(bytesOf(part) == expected.take(count));
            break;
        }
        case 4: {
            Bytes copy(count);
            copy.resize(reader.getData(copy.data(), count));
            require(copy == expected.take(count));
            break;
        }
        default: {
            const std::size_t width = instruction % 8;
            require(reader.getInt(width) == intOf(expected.take(width), width));
        }
        }
    }
    require(bytesOf(chain) == input.message);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Input input(data, std::min<std::size_t>(size, Mail::Message::kMaxSize));
    readFields(input);
    readBytes(input);
    return 0;
}

// Any bytes as messages of a state: reading ends with an error or a state. A state that was read
// can be written and read again, whole and against a base line.
#include "require.h"
#include "state_message.h"

#include "Serial/Bufferizer.h"
#include "Serial/Containers.h"

#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

using Common::Baseline;
using Common::Bufferizer;
using Common::CommonSerializer;
using Common::StateParts;

struct Unit {
    int kind = 0;
    double heading = 0;
    float speed = 0;
    bool isAlive = false;

    void serialize(CommonSerializer& serializer) {
        serializer.transferBits("kind", kind, 12);
        serializer.transferFixed("heading", heading, -1, 1, 10);
        serializer.transferHalf("speed", speed);
        serializer.transfer("isAlive", isAlive);
    }
};

struct World {
    std::vector<Unit> units;
    std::map<std::string, std::int16_t> names;
    std::optional<float> maybe;
    std::vector<float> heights;
    std::vector<bool> flags;
    std::vector<std::vector<std::uint64_t>> nested;

    void serialize(CommonSerializer& serializer) {
        serializer.transfer("units", units);
        serializer.transfer("names", names);
        serializer.transfer("maybe", maybe);
        serializer.transfer("heights", heights);
        serializer.transfer("flags", flags);
        serializer.transfer("nested", nested);
    }
};

std::vector<Mail::Message> write(World& world, std::uint32_t number, const Baseline& base,
                                 Baseline& line) {
    Bufferizer writing(number, base);
    writing.transfer("world", world);
    require(writing.finish());
    line = writing.getBaseline();
    return writing.getMessages(1);
}

// Whether the messages make a valid state; if so, it is in `world` and `base`.
bool read(const std::vector<Mail::Message>& messages, World& world, Baseline& base) {
    StateParts parts;
    for (const Mail::Message& message : messages) {
        parts.add(message);
    }
    Bufferizer reading(parts, base);
    reading.transfer("world", world);
    const bool isRead = reading.finish();
    require(isRead == reading.getError().empty());
    if (isRead) {
        base = reading.getBaseline();
    }
    return isRead;
}

World someWorld() {
    World world;
    world.units.resize(20);
    world.names = {{"one", std::int16_t{1}}, {"a name that is longer", std::int16_t{2}}};
    world.heights.assign(100, 1.5F);
    world.flags.assign(30, true);
    world.nested = {{1, 2, 3}, {}, {std::uint64_t{1} << 60}};
    return world;
}

} // namespace

// The input: a byte that chooses a raw message, a whole state or a state against a base line, and
// then its bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
    if (length == 0) {
        return 0;
    }
    const std::string bytes(reinterpret_cast<const char*>(data + 1), length - 1);
    World model = someWorld(), world = someWorld();
    Baseline base, line;
    const std::vector<Mail::Message> whole = write(model, 1, {}, base);
    if (data[0] % 3 == 0) {
        Mail::Message message(1);
        message.addBytes(bytes.data(), bytes.size());
        Baseline any = base;
        read({message}, world, any);
    } else {
        Baseline any = base;
        const bool isWhole = data[0] % 3 == 1;
        const std::string known = bytesOf(whole[0]);
        require(!read({stateMessage(2, known, isWhole, bytes)}, world, any));
        // With the sum of what was read it may be what was sent, and a base line then.
        const std::string written = bytesOf(write(world, 2, {}, line)[0]);
        std::uint32_t sum = 0;
        std::memcpy(&sum, written.data() + 12, sizeof sum);
        require(!read({stateMessage(2, known, isWhole, bytes, sum)}, world, any) ||
                any.getNumber() == 2);
    }
    World again, delta = someWorld();
    Baseline none;
    require(read(write(world, 3, {}, line), again, none));
    require(read(write(world, 3, base, line), delta, base));
    Baseline lineAgain;
    write(again, 3, {}, lineAgain);
    require(bytesOf(write(delta, 4, lineAgain, line)[0]).size() <= kStateHeader + 1);
    return 0;
}

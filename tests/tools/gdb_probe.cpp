// Objects to look at in a debugger: valid ones, empty ones, and memory that holds no object.
#include "Common/SharedObject.h"
#include "Config/ConfigParser.h"
#include "Lua/Loader.h"
#include "Mail/Message.h"
#include "Mail/Stream.h"

#include <cstring>
#include <string>

namespace {

class Tank : public Common::Identifiable {
public:
    int speed = 12;
};

struct Objects {
    Mem::Ptr<Mail::Chunk> chunk;
    Common::Ref<Common::Identifiable> tank;
    ConfigParser::iterator entry, block, list, text, real, end;
    Mail::Message message;
    Lua::Loader *loader, *deep;
    Lua::Key index{7}, key{"speed"};
};

alignas(Objects) unsigned char noise[sizeof(Objects)];
const Objects* noObjects = reinterpret_cast<const Objects*>(noise);
const Objects* objects = nullptr;

} // namespace

// Where the debugger stops.
extern "C" [[gnu::noinline]] void lookHere() {
    asm volatile("" : : "r"(objects), "r"(noObjects) : "memory");
}

int main() {
    Objects made;
    lookHere(); // there is nothing to look at yet
    made.chunk = Mail::Chunk::alloc(2000);
    std::memset(made.chunk->begin(), 0x41, 4);
    const Mem::Ptr<Mail::Chunk> second = made.chunk;
    made.tank = Common::Ref<Common::Identifiable>(new Tank);
    ConfigParser config;
    const char text[] =
        "video { width = 1280; title = \"a\xFF\x01\"; list = {1, 2}; scale = 0.5; }";
    if (!config.parse(text, sizeof text - 1)) {
        return 1;
    }
    made.block = config.find("video");
    made.entry = made.block.find("width");
    made.text = made.block.find("title");
    made.list = made.block.find("list");
    made.real = made.block.find("scale");
    made.message = Mail::Message(42);
    made.message.addBytes("hello", 5);
    made.message.setTag(3);
    Lua::Loader loader;
    loader.createGlobalTable("units");
    loader.createSubtable("tank");
    made.loader = &loader;
    Lua::Loader deep;
    deep.createGlobalTable(std::string(201, 'x'));
    for (int level = 0; level < 64; ++level) {
        deep.createSubtable(level);
    }
    made.deep = &deep;
    objects = &made;
    lookHere();
    for (const int filling : {0x00, 0x5A, 0xFF}) {
        std::memset(noise, filling, sizeof noise);
        lookHere();
    }
    return 0;
}

// Rings: texts are read as they were written, in order; names can be used again after a failure,
// and are removed with their last user.
#include "driver.h"

#include "Shm/RingBuffer.h"

#include <cstdio>
#include <cstring>

#include <unistd.h>

namespace {

char name[64];

int texts(CRingMessageBuffer& writer, CRingMessageBuffer& reader) {
    int read = 0, written = 0;
    for (int i = 0; i < 5; ++i) {
        written += step(writer.AddFormatMessage("text %d", i) == 1, "AddFormatMessage");
        char text[32];
        unsigned long word = 0;
        std::int64_t time = 0;
        if (reader.GetMessageA(word, word, word, time, text, sizeof text) != 0) {
            whole(std::strncmp(text, "text ", 5) == 0 && time != 0, "another text");
            ++read;
        }
    }
    return step(read == written, "GetMessageA") ? read : 0;
}

void share() {
    CRingMessageBuffer* const writer = CRingMessageBuffer::OpenNew(name, 4096, nullptr);
    if (!step(writer != nullptr, "OpenNew")) {
        return;
    }
    CRingMessageBuffer reader;
    if (step(reader.Open(name, 0, nullptr) == 1, "Open")) {
        texts(*writer, reader);
        holds(reader.Close(0) == 1, "Close");
    }
    holds(writer->Close(1) == 1, "Close");
}

void keepToOneself() {
    CRingBuffer ring;
    if (step(ring.InitNew(2048) == 1, "InitNew")) {
        holds(ring.PushStart(3) == 1 && ring.PushData("abc", 3) == 1 && ring.PushStop() == 1,
              "PushData");
        char bytes[3];
        holds(ring.PopStart(nullptr) == 3 && ring.PopData(bytes, 3, 3) == 1 &&
                  std::memcmp(bytes, "abc", 3) == 0,
              "PopData");
    }
}

std::ptrdiff_t namedObjects() {
    const Aside aside;
    std::ptrdiff_t found = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
        found += entry.path().filename().string().find(name) != std::string::npos;
    }
    return found;
}

} // namespace

void prepare() {
    std::snprintf(name, sizeof name, "qz-fault-%d", getpid());
}

void work() {
    share();
    keepToOneself();
}

void finish() {
    holds(namedObjects() == 0, "shared memory is left behind");
}

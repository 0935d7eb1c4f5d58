// Messages: they are complete or empty, and delivered to registered mailboxes; parts of chains are
// complete, or null and then nothing was consumed.
#include "driver.h"

#include "Mail/Chunk.h"
#include "Mail/Message.h"
#include "Mail/Server.h"
#include "Mail/Stream.h"

#include <algorithm>
#include <new>

namespace {

constexpr std::uint32_t kFields = 1000;

class Box : public Mail::Mailbox {
public:
    explicit Box(std::uint32_t own) : Mailbox(own) {}
    int received = 0;

    bool receive(const Mail::Message& message) override {
        ++received;
        Mail::Reader reader(message);
        for (std::uint32_t i = 0; i < kFields; ++i) {
            whole(reader.get(20) == i * 37, "a field of a message");
        }
        return true;
    }
};

void deliver(Mail::Server& server, std::uint32_t address) {
    const Mem::Ptr<Box> box(new Box(address));
    server.addMailbox(box);
    if (!step(server.getMailbox(address) == box, "addMailbox")) {
        return;
    }
    const Mail::Message message(address);
    step(static_cast<bool>(message), "Message");
    {
        Mail::Writer writer(message);
        for (std::uint32_t i = 0; i < kFields; ++i) {
            writer.put(i * 37, 20);
        }
    }
    const bool isWritten = step(message.getSize() != 0, "Writer");
    whole(!isWritten || message.getSize() == kFields * 20 / 8, "the size of a message");
    if (isWritten) {
        holds(server.send(message) && box->received == 1, "send");
    }
    server.removeMailbox(address);
    holds(!server.getMailbox(address), "removeMailbox");
}

void take() {
    unsigned char bytes[3000], read[3000];
    for (std::size_t i = 0; i < sizeof bytes; ++i) {
        bytes[i] = static_cast<unsigned char>(i % 251);
    }
    Mail::ByteWriter writer;
    writer.putData(bytes, sizeof bytes);
    const Mem::Ptr<Mail::Chunk> chain = writer.end();
    if (!step(chain != nullptr, "ByteWriter::end")) {
        return;
    }
    whole(chain->totalSize() == sizeof bytes, "a chain");
    Mail::ByteReader reader(chain);
    std::size_t at = 0;
    while (at < sizeof bytes) {
        const Mem::Ptr<Mail::Chunk> part = reader.getData(1250);
        const std::uint64_t size = part != nullptr ? part->totalSize() : 0;
        step(part != nullptr, "ByteReader::getData");
        if (part != nullptr) {
            whole(size == std::min<std::uint64_t>(1250, sizeof bytes - at), "the size of a part");
            at += size;
        }
        const std::uint64_t count = reader.getData(read, 1);
        if (count == 0) {
            break;
        }
        counted(read[0] == bytes[at], "bytes of a chain");
        ++at;
    }
    counted(at == sizeof bytes || isDisturbed(), "the rest of a chain");
}

} // namespace

void prepare() {}

void work() {
    alignas(Mail::ServerImpl) unsigned char room[sizeof(Mail::ServerImpl)];
    Mail::ServerImpl* server = nullptr;
    stepOrThrow<std::bad_alloc>("ServerImpl", [&] { server = new (room) Mail::ServerImpl(16); });
    if (server != nullptr) {
        stepOrThrow<std::bad_alloc>("Box", [&] {
            deliver(*server, 3);
            deliver(*server, 3000);
        });
        server->~ServerImpl();
    }
    take();
}

void finish() {}

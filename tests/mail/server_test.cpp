#include "Mail/Server.h"

#include "Mail/Stream.h"
#include "support/test.h"

namespace {

struct Box : Mail::Mailbox {
    using Receive = std::function<bool(const Mail::Message&)>;

    Box(std::uint32_t own, Receive receiver) : Mailbox(own), onMessage(std::move(receiver)) {}
    ~Box() override { atEnd(); }

    bool receive(const Mail::Message& message) override { return onMessage(message); }

    Receive onMessage;
    std::function<void()> atEnd = [] {};
};

Mem::Ptr<Box> box(
    std::uint32_t address, Box::Receive receive = [](const auto&) { return true; }) {
    return Mem::Ptr<Box>(new Box(address, std::move(receive)));
}

class MailServer : public ::testing::TestWithParam<std::uint32_t> {
protected:
    Mail::ServerImpl server{256};
};

INSTANTIATE_TEST_SUITE_P(Addresses, MailServer,
                         ::testing::Values(0, 7, 255, 256, 1000,
                                           std::numeric_limits<std::uint32_t>::max()));

TEST_P(MailServer, KeepsWhoRegistersFirst) {
    const Mem::Ptr<Box> a = box(GetParam()), b = box(GetParam());
    server.removeMailbox(GetParam());
    EXPECT_EQ(server.getMailbox(GetParam()), nullptr);
    server.addMailbox(nullptr);
    server.addMailbox(a);
    server.addMailbox(b);
    server.addMailbox(a);
    EXPECT_EQ(server.getMailbox(GetParam()), a);
    EXPECT_EQ(server.getMailbox(GetParam() ^ 256), nullptr);
    server.removeMailbox(GetParam());
    server.addMailbox(b);
    EXPECT_EQ(server.getMailbox(GetParam()), b);
}

TEST_P(MailServer, ReturnsWhatTheReceiverReturns) {
    bool answer = true;
    const Mail::Message message(GetParam());
    Mail::Writer(message).put(42, 8);
    EXPECT_FALSE(server.send(message));
    EXPECT_FALSE(server.send(Mail::Message()));
    server.addMailbox(box(GetParam(), [&](const Mail::Message& received) {
        EXPECT_EQ(received, message);
        EXPECT_EQ(Mail::Reader(received).get(8), 42U);
        return answer;
    }));
    EXPECT_TRUE(server.send(message));
    answer = false;
    EXPECT_FALSE(server.send(message));
}

TEST_P(MailServer, LetsAReceiverUnregisterItself) {
    bool living = true;
    Mem::Ptr<Box> leaving = box(GetParam(), [&](const Mail::Message& message) {
        server.removeMailbox(GetParam());
        EXPECT_TRUE(living);
        return !server.send(message);
    });
    leaving->atEnd = [&] { living = false; };
    server.addMailbox(leaving);
    leaving = nullptr;
    EXPECT_TRUE(server.send(Mail::Message(GetParam())));
    EXPECT_FALSE(living);
}

TEST(MailServerEnd, ReleasesReceiversAndMemory) {
    const std::uint64_t before = qz::getSTLAllocatorCounter();
    int ended = 0;
    {
        Mail::ServerImpl server(256);
        for (std::uint32_t address = 0; address < 600; ++address) {
            Mem::Ptr<Box> made = box(address);
            made->atEnd = [&, address] {
                ++ended;
                server.removeMailbox(address + 1);
                server.addMailbox(box(1000 + address));
                EXPECT_FALSE(server.send(Mail::Message(address)));
            };
            server.addMailbox(made);
        }
        server.removeMailbox(300);
        EXPECT_EQ(ended, 300) << "each removes the next";
        EXPECT_NE(server.getMailbox(1300), nullptr);
        server.close();
        EXPECT_EQ(ended, 600);
        server.addMailbox(box(1));
        EXPECT_EQ(server.getMailbox(1), nullptr);
    }
    EXPECT_EQ(qz::getSTLAllocatorCounter(), before);
}

TEST(MailServerLookup, FindsWhoIsThereAndNobodyElse) {
    constexpr std::uint32_t kAddresses = 600;
    Mail::ServerImpl server(4);
    std::vector<Mem::Ptr<Box>> there(kAddresses);
    std::minstd_rand random(1);
    for (int step = 0; step < 20000; ++step) {
        const auto address = static_cast<std::uint32_t>(random() % kAddresses);
        if (there[address]) {
            server.removeMailbox(address);
            there[address] = nullptr;
        } else {
            server.addMailbox(there[address] = box(address));
        }
        for (std::uint32_t near = 0; near < kAddresses; near += 37) {
            ASSERT_EQ(server.getMailbox((address + near) % kAddresses),
                      there[(address + near) % kAddresses]);
        }
    }
}

TEST(MailServerLookup, MayBeChangedByADerivedServer) {
    struct Forwarding : Mail::ServerImpl {
        using ServerImpl::ServerImpl;
        Mem::Ptr<Mail::Mailbox> getMailbox(std::uint32_t) override {
            return ServerImpl::getMailbox(2);
        }
    } server(4);
    server.addMailbox(box(2));
    EXPECT_TRUE(server.send(Mail::Message(77)));
}

Mail::Message numbered(std::uint32_t address, unsigned hops, unsigned length) {
    const Mail::Message message(address);
    Mail::Writer writer(message);
    writer.put(hops, 4);
    writer.put(length, 12);
    for (unsigned i = 0; i < length; ++i) {
        writer.put(i + length, 7);
    }
    return message;
}

// Each thread registers, unregisters, writes and sends at random. Receivers check what they get,
// pass it on and sometimes unregister themselves.
TEST(MailServerThreads, DoAllAtOnce) {
    using Clock = std::chrono::steady_clock;
    constexpr std::uint32_t kAddresses = 12;
    Mail::ServerImpl server(kAddresses / 2);
    std::atomic<unsigned> received{0};
    const auto receive = [&](const Mail::Message& message) {
        ++received;
        Mail::Reader reader(message);
        const unsigned hops = reader.get(4), length = reader.get(12);
        for (unsigned i = 0; i < length; ++i) {
            EXPECT_EQ(reader.get(7), (i + length) % 128);
        }
        if (hops == 0) {
            server.removeMailbox(message.getAddress());
            return true;
        }
        return server.send(numbered((message.getAddress() + hops) % kAddresses, hops - 1, length));
    };
    const Clock::time_point end = Clock::now() + std::chrono::seconds(2);
    inThreads(4, [&](unsigned seed) {
        std::minstd_rand random(seed + 1);
        while (Clock::now() < end) {
            const auto address = static_cast<std::uint32_t>(random() % kAddresses);
            server.addMailbox(box(address, receive));
            server.send(numbered(address, static_cast<unsigned>(random() % 4),
                                 static_cast<unsigned>(random() % 3000)));
            if (random() % 8 == 0) {
                server.removeMailbox(address);
            }
        }
    });
    EXPECT_GT(received, 100U);
}

} // namespace

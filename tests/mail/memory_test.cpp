// Messages and chunks when the pools run out: all of what is asked for, or nothing.
#include "Globals.h"
#include "Mail/Server.h"
#include "Mail/Stream.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#if !defined(_WIN32) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#    define QZ_TEST_LIMITS_MEMORY // which instrumented programs do not survive
#    include <sys/resource.h>

#    include <fstream>
#endif

namespace {

using ChunkPtr = Mem::Ptr<Mail::Chunk>;

// A pool that has given all its items away, and gets back as many as it is told to have.
class ScarcePool {
public:
    explicit ScarcePool(Mem::Pool& pool) : pool_(pool) {
        while (void* const item = pool_.alloc()) {
            if (kept_.size() < kMostKept) {
                kept_.push_back(item);
            }
        }
    }
    ~ScarcePool() { leave(kept_.size()); }
    ScarcePool(const ScarcePool&) = delete;
    ScarcePool& operator=(const ScarcePool&) = delete;

    void leave(std::size_t count) {
        while (void* const item = pool_.alloc()) {
            kept_.push_back(item);
        }
        for (; count > 0; --count) {
            pool_.free(kept_.back());
            kept_.pop_back();
        }
    }

private:
    static constexpr std::size_t kMostKept = 100;

    Mem::Pool& pool_;
    std::vector<void*> kept_;
};

std::string bytes(const ChunkPtr& chain) {
    std::string result;
    for (const Mail::Chunk* chunk = chain.get(); chunk != nullptr; chunk = chunk->next().get()) {
        result.append(chunk->begin(), chunk->end());
    }
    return result;
}

std::string rest(Mail::ByteReader& reader) {
    std::string result(20000, '\0');
    result.resize(reader.getData(result.data(), result.size()));
    return result;
}

struct Parts : Mail::Chunk {
    static ChunkPtr before(const ChunkPtr& chain, std::uint64_t n) {
        return ((*chain).*(&Parts::rbefore))(n);
    }
};

std::string sample() {
    std::string data;
    for (int i = 0; i < 3000; ++i) {
        data += static_cast<char>(i * 7 % 251);
    }
    return data;
}

TEST(MailMemory, ChunksGiveAllOfAPartOrNothing) {
    const std::string data = sample();
    const ChunkPtr chain = Mail::ByteWriter().putData(data.data(), data.size()).end();
    const std::string most = data.substr(10, 2500);
    Mail::ByteReader reader;
    const auto begin = [&] {
        char start[10];
        reader.init(chain);
        reader.getData(start, sizeof start);
    };
    // Each says whether it got what it asked for, after having looked at what it got.
    const std::function<bool()> calls[] = {
        [&] {
            const ChunkPtr part = Parts::before(chain, 2500);
            EXPECT_EQ(bytes(part), part ? data.substr(0, 2500) : "");
            return static_cast<bool>(part);
        },
        [&] {
            begin();
            const ChunkPtr part = reader.getData(most.size());
            EXPECT_EQ(bytes(part), part ? most : "");
            EXPECT_EQ(rest(reader), data.substr(part ? 10 + most.size() : 10));
            return static_cast<bool>(part);
        },
        [&] {
            begin();
            const ChunkPtr part = reader.getRemainingData();
            EXPECT_EQ(bytes(part), part ? data.substr(10) : "");
            EXPECT_EQ(rest(reader), part ? "" : data.substr(10));
            return static_cast<bool>(part);
        },
        [&] {
            begin();
            const bool isAdded = reader.add(chain);
            EXPECT_EQ(rest(reader), data.substr(10) + (isAdded ? data : ""));
            return isAdded;
        },
        [&] {
            const ChunkPtr fresh = Mail::Chunk::alloc(3000);
            EXPECT_TRUE(!fresh || fresh->totalSize() == 3000U);
            return static_cast<bool>(fresh);
        },
    };
    ScarcePool chunks(Mail::Chunk::m_pool);
    for (const auto& call : calls) {
        std::size_t count = 0;
        for (; chunks.leave(count), !call(); ++count) {
            ASSERT_LT(count, 20U);
        }
        EXPECT_GT(count, 0U) << "nothing could fail";
    }
}

TEST(MailMemory, MessagesGetAllThatAWriterWroteOrNothing) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "an exhausted pool leaves no room for the thread sanitizer's own memory";
#endif
    const std::string data = sample();
    const Mail::Message message(1);
    const auto write = [&] {
        Mail::Writer writer(message);
        for (const char byte : data) {
            writer.put(static_cast<unsigned char>(byte), 8);
        }
    };
    write();
    ASSERT_EQ(message.getSize(), data.size());
    {
        ScarcePool chunks(Mail::Chunk::m_pool);
        for (std::size_t count = 0; message.getSize() == data.size(); ++count) {
            ASSERT_LT(count, 20U);
            chunks.leave(count);
            write();
        }
    }
    ASSERT_EQ(message.getSize(), data.size() * 2);
    Mail::Reader reader(message);
    for (const char byte : data + data) {
        ASSERT_EQ(reader.get(8), static_cast<unsigned char>(byte));
    }
    {
        const ScarcePool bodies(Mail::MsgImpl::m_pool);
        const Mail::Message none(1);
        EXPECT_FALSE(none);
        EXPECT_FALSE(globalMail->send(none));
    }
}

#ifdef QZ_TEST_LIMITS_MEMORY
// While it lives, no more address space than the process has now.
class NoMoreMemory {
public:
    NoMoreMemory() {
        rlim_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        limit(pages * 4096);
    }
    ~NoMoreMemory() { limit(RLIM_INFINITY); }

private:
    static void limit(rlim_t bytes) {
        const rlimit limits{bytes, RLIM_INFINITY};
        EXPECT_EQ(setrlimit(RLIMIT_AS, &limits), 0);
    }
};

TEST(MailMemory, ServersTakeWhatTheyCan) {
    struct Box : Mail::Mailbox {
        bool receive(const Mail::Message&) override { return true; }
    };
    const Mem::Ptr<Box> box(new Box);
    Mail::ServerImpl server(4);
    const Mail::Message message(1000);
    {
        const NoMoreMemory memory;
        for (box->address = 1000; box->address < 10'000'000; ++box->address) {
            server.addMailbox(box);
            if (!server.getMailbox(box->address)) {
                break;
            }
        }
        EXPECT_FALSE(server.getMailbox(box->address)) << "there was no end of memory";
        EXPECT_TRUE(server.send(message));
        server.removeMailbox(1000);
        EXPECT_FALSE(server.send(message));
    }
    server.addMailbox(box);
    EXPECT_TRUE(server.getMailbox(box->address)) << "there is memory again";
}
#endif

} // namespace

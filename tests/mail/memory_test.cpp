// When the pools run out, messages and chunks give all that is asked for, or nothing.
#include "Globals.h"
#include "Mail/Server.h"
#include "Mail/Stream.h"
#include "mail/chains.h"

namespace {

// Takes all items of a pool, and gives back as many as it is told to.
class ScarcePool : NonCopyable {
public:
    explicit ScarcePool(Mem::Pool& pool) : pool_(pool) {
        while (void* const item = pool_.alloc()) {
            if (kept_.size() < kMostKept) {
                kept_.push_back(item);
            }
        }
    }
    ~ScarcePool() { leave(kept_.size()); }

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

std::string rest(Mail::ByteReader& reader) {
    std::string result(20000, '\0');
    result.resize(reader.getData(result.data(), result.size()));
    return result;
}

TEST(MailMemory, ChunksGiveAllOfAPartOrNothing) {
    const std::string data = someBytes(3000);
    const ChunkPtr chain = chainOf(data);
    const std::string most = data.substr(10, 2500);
    Mail::ByteReader reader;
    const auto begin = [&] {
        char start[10];
        reader.init(chain);
        reader.getData(start, sizeof start);
    };
    // Each checks what it got, and returns whether it got all that it asked for.
    const std::function<bool()> calls[] = {
        [&] {
            begin();
            const ChunkPtr got = reader.getData(most.size());
            EXPECT_EQ(bytesOf(got), got ? most : "");
            EXPECT_EQ(rest(reader), data.substr(got ? 10 + most.size() : 10));
            return static_cast<bool>(got);
        },
        [&] {
            begin();
            const ChunkPtr got = reader.getRemainingData();
            EXPECT_EQ(bytesOf(got), got ? data.substr(10) : "");
            EXPECT_EQ(rest(reader), got ? "" : data.substr(10));
            return static_cast<bool>(got);
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
    const std::string data = someBytes(3000);
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
    std::string all(data.size() * 2, 0);
    message.getBytes(all.data(), all.size());
    ASSERT_EQ(all, data + data);
    {
        const ScarcePool bodies(Mail::MsgImpl::m_pool);
        const Mail::Message none(1);
        EXPECT_FALSE(none);
        EXPECT_FALSE(globalMail->send(none));
    }
}

} // namespace

// The pools of messages, compared with other allocators, the codec with other encodings, and the
// server with a map and a mutex.
#include "goals.h"
#include "growth.h"

#include "Mail/Pool.h"
#include "Mail/Server.h"
#include "Mail/Stream.h"
#include "Math/Half.h"
#include "mail_record.pb.h"
#include "mail_record_generated.h"

#include <benchmark/benchmark.h>
#include <boost/pool/pool.hpp>
#include <oneapi/tbb/scalable_allocator.h>

#include <dlfcn.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using bench::atMost;
using bench::beside;
using bench::growth;

constexpr bench::Goal kGoals[] = {
    atMost(0.5, "pool/boost/threads:1", "pool/qz/threads:1"),
    atMost(1.0, "pool/mimalloc/threads:1", "pool/qz/threads:1"),
    beside("pool/tbbmalloc/threads:1", "pool/qz/threads:1"),
    beside("pool/glibc/threads:1", "pool/qz/threads:1"),
    atMost(0.35, "pool/boost/threads:2", "pool/qz/threads:2"),
    atMost(1.0, "pool/mimalloc/threads:2", "pool/qz/threads:2"),
    atMost(0.3, "pool_across/boost", "pool_across/qz"),
    atMost(1.0, "pool_across/mimalloc", "pool_across/qz"),
    atMost(0.55, "encode/protobuf", "encode/qz"),
    atMost(0.40, "decode/protobuf", "decode/qz"),
    beside("encode/flatbuffers", "encode/qz"),
    beside("decode/flatbuffers", "decode/qz"),
    beside("encode/protobuf", "encode/qz_message"),
    beside("decode/protobuf", "decode/qz_message"),
    atMost(0.6, "send/map/threads:1", "send/qz/threads:1"),
    atMost(0.25, "send/map/threads:8", "send/qz/threads:8"),
    growth(1.5, "remaining/10000", "remaining/1000000"),
};

// --- Items of 64 bytes ------------------------------------------------------------------------

constexpr std::size_t kItem = 64;

struct Qz {
    static Mem::Pool& pool() {
        static Mem::Pool instance(kItem, 1024);
        return instance;
    }
    static void* alloc() { return pool().alloc(); }
    static void free(void* item) { pool().free(item); }
};

struct Boost {
    static inline std::mutex mutex;
    static inline boost::pool<> pool{kItem};

    static void* alloc() {
        const std::lock_guard lock(mutex);
        return pool.malloc();
    }
    static void free(void* item) {
        const std::lock_guard lock(mutex);
        pool.free(item);
    }
};

struct Tbb {
    static void* alloc() { return scalable_malloc(kItem); }
    static void free(void* item) { scalable_free(item); }
};

struct Glibc {
    static void* alloc() { return std::malloc(kItem); }
    static void free(void* item) { std::free(item); }
};

// Loaded at run time, because linking to it would replace malloc for all peers.
struct Mimalloc {
    static void* find(const char* name) {
        static void* const library = dlopen("libmimalloc.so.2", RTLD_NOW | RTLD_LOCAL);
        void* const found = library == nullptr ? nullptr : dlsym(library, name);
        if (found == nullptr) {
            std::fprintf(stderr, "no mimalloc: %s\n", dlerror());
            std::exit(1);
        }
        return found;
    }
    static inline auto* const mallocFunction =
        reinterpret_cast<void* (*)(std::size_t)>(find("mi_malloc"));
    static inline auto* const freeFunction = reinterpret_cast<void (*)(void*)>(find("mi_free"));

    static void* alloc() { return mallocFunction(kItem); }
    static void free(void* item) { freeFunction(item); }
};

// One allocation and one release at a time.
template<class Allocator>
void pool(benchmark::State& state) {
    for (auto _ : state) {
        void* item = Allocator::alloc();
        benchmark::DoNotOptimize(item);
        Allocator::free(item);
    }
}

// This thread allocates items and another releases them, a batch at a time.
template<class Allocator>
void poolAcross(benchmark::State& state) {
    constexpr std::size_t kBatch = 256;
    std::array<std::array<void*, kBatch>, 2> batches{};
    std::atomic<std::size_t> made{0}, released{0};
    std::atomic<bool> ended{false};
    std::thread other([&] {
        for (;;) {
            const std::size_t mine = released.load();
            while (made.load() == mine) {
                if (ended) {
                    return;
                }
                std::this_thread::yield();
            }
            for (void* item : batches[mine % 2]) {
                Allocator::free(item);
            }
            released = mine + 1;
        }
    });
    for (auto _ : state) {
        while (made - released == 2) {
            std::this_thread::yield();
        }
        for (void*& item : batches[made % 2]) {
            item = Allocator::alloc();
        }
        ++made;
    }
    while (made != released) {
        std::this_thread::yield();
    }
    ended = true;
    other.join();
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBatch));
}

template<class Allocator>
void registerPools(const std::string& name) {
    benchmark::RegisterBenchmark(("pool/" + name).c_str(), pool<Allocator>)
        ->ThreadRange(1, 2)
        ->UseRealTime();
    benchmark::RegisterBenchmark(("pool_across/" + name).c_str(), poolAcross<Allocator>)
        ->UseRealTime();
}

// --- Records ----------------------------------------------------------------------------------

struct Record {
    std::uint32_t id;
    float place[3];
    std::uint16_t halfs[2];
    std::uint8_t small[5];
    std::uint8_t blob[20];
};

constexpr unsigned char kSmallBits[5] = {3, 4, 5, 6, 6};
constexpr std::size_t kRecords = 256;
constexpr std::size_t kBytes = 43;
constexpr std::size_t kRecordsInMessage = 1000;

std::vector<Record>& records() {
    static std::vector<Record> made = [] {
        std::mt19937 random(20261121);
        std::vector<Record> result(kRecords);
        for (Record& record : result) {
            record.id = static_cast<std::uint32_t>(random());
            for (float& value : record.place) {
                value = static_cast<float>(random() % 200000) / 7;
            }
            for (std::uint16_t& half : record.halfs) {
                half = Math::float2half(static_cast<float>(random() % 1000) / 8);
            }
            for (std::size_t i = 0; i < 5; ++i) {
                record.small[i] = static_cast<std::uint8_t>(random() % (1U << kSmallBits[i]));
            }
            for (std::uint8_t& byte : record.blob) {
                byte = static_cast<std::uint8_t>(random());
            }
        }
        return result;
    }();
    return made;
}

template<class Field>
void exchangeField(Mail::Writer& writer, Field& field, unsigned char bits) {
    writer.put(field, bits);
}

template<class Field>
void exchangeField(Mail::Reader& reader, Field& field, unsigned char bits) {
    field = static_cast<Field>(reader.get(bits));
}

template<class Stream>
void exchange(Stream& stream, Record& record) {
    stream.stream(&record.id, 32);
    stream.stream(&record.place[0], 32);
    stream.stream(&record.place[1], 32);
    stream.stream(&record.place[2], 32);
    exchangeField(stream, record.halfs[0], 16);
    exchangeField(stream, record.halfs[1], 16);
    exchangeField(stream, record.small[0], kSmallBits[0]);
    exchangeField(stream, record.small[1], kSmallBits[1]);
    exchangeField(stream, record.small[2], kSmallBits[2]);
    exchangeField(stream, record.small[3], kSmallBits[3]);
    exchangeField(stream, record.small[4], kSmallBits[4]);
    stream.stream(record.blob, 160);
}

// A writer kept open for many records, as the peers' builders and buffers are kept.
void encodeQz(benchmark::State& state) {
    std::size_t next = 0;
    std::uint64_t bytes = 0;
    while (state.KeepRunningBatch(kRecordsInMessage)) {
        const Mail::Message message(1);
        {
            Mail::Writer writer(message);
            for (std::size_t i = 0; i < kRecordsInMessage; ++i) {
                exchange(writer, records()[next++ % kRecords]);
            }
        }
        bytes = message.getSize() / kRecordsInMessage;
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}

// A message for each record, from its creation to its release.
void encodeMessageQz(benchmark::State& state) {
    std::size_t next = 0;
    for (auto _ : state) {
        const Mail::Message message(1);
        Mail::Writer writer(message);
        exchange(writer, records()[next++ % kRecords]);
    }
}

Mail::Message messageOf(std::size_t count) {
    const Mail::Message message(1);
    Mail::Writer writer(message);
    for (std::size_t i = 0; i < count; ++i) {
        exchange(writer, records()[i % kRecords]);
    }
    return message;
}

void decodeQz(benchmark::State& state) {
    const Mail::Message message = messageOf(kRecordsInMessage);
    Record record{};
    while (state.KeepRunningBatch(kRecordsInMessage)) {
        Mail::Reader reader(message);
        for (std::size_t i = 0; i < kRecordsInMessage; ++i) {
            exchange(reader, record);
            benchmark::DoNotOptimize(&record);
            benchmark::ClobberMemory();
        }
    }
}

void decodeMessageQz(benchmark::State& state) {
    std::vector<Mail::Message> messages;
    for (std::size_t i = 0; i < kRecords; ++i) {
        messages.push_back(messageOf(1));
    }
    Record record{};
    std::size_t next = 0;
    for (auto _ : state) {
        Mail::Reader reader(messages[next++ % kRecords]);
        exchange(reader, record);
        benchmark::DoNotOptimize(&record);
        benchmark::ClobberMemory();
    }
}

void fill(mail_bench::ProtobufRecord& out, const Record& record) {
    out.set_id(record.id);
    out.set_x(record.place[0]);
    out.set_y(record.place[1]);
    out.set_z(record.place[2]);
    out.set_half1(record.halfs[0]);
    out.set_half2(record.halfs[1]);
    out.set_a(record.small[0]);
    out.set_b(record.small[1]);
    out.set_c(record.small[2]);
    out.set_d(record.small[3]);
    out.set_e(record.small[4]);
    out.set_blob(record.blob, sizeof record.blob);
}

void extract(Record& record, const mail_bench::ProtobufRecord& in) {
    record.id = in.id();
    record.place[0] = in.x();
    record.place[1] = in.y();
    record.place[2] = in.z();
    record.halfs[0] = static_cast<std::uint16_t>(in.half1());
    record.halfs[1] = static_cast<std::uint16_t>(in.half2());
    record.small[0] = static_cast<std::uint8_t>(in.a());
    record.small[1] = static_cast<std::uint8_t>(in.b());
    record.small[2] = static_cast<std::uint8_t>(in.c());
    record.small[3] = static_cast<std::uint8_t>(in.d());
    record.small[4] = static_cast<std::uint8_t>(in.e());
    std::memcpy(record.blob, in.blob().data(), std::min(sizeof record.blob, in.blob().size()));
}

using Buffer = std::array<std::uint8_t, 128>;

void encodeProtobuf(benchmark::State& state) {
    mail_bench::ProtobufRecord message;
    Buffer buffer{};
    std::size_t next = 0, bytes = 0;
    for (auto _ : state) {
        fill(message, records()[next++ % kRecords]);
        bytes = message.ByteSizeLong();
        message.SerializeWithCachedSizesToArray(buffer.data());
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}

void decodeProtobuf(benchmark::State& state) {
    std::vector<std::string> encoded;
    mail_bench::ProtobufRecord message;
    for (const Record& record : records()) {
        fill(message, record);
        encoded.push_back(message.SerializeAsString());
    }
    Record record{};
    std::size_t next = 0;
    for (auto _ : state) {
        const std::string& bytes = encoded[next++ % kRecords];
        message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
        extract(record, message);
        benchmark::DoNotOptimize(&record);
        benchmark::ClobberMemory();
    }
}

void build(flatbuffers::FlatBufferBuilder& builder, const Record& record) {
    builder.Clear();
    const auto blob = builder.CreateVector(record.blob, sizeof record.blob);
    builder.Finish(mail_bench::CreateFlatRecord(
        builder, record.id, record.place[0], record.place[1], record.place[2], record.halfs[0],
        record.halfs[1], record.small[0], record.small[1], record.small[2], record.small[3],
        record.small[4], blob));
}

void encodeFlatbuffers(benchmark::State& state) {
    flatbuffers::FlatBufferBuilder builder(256);
    std::size_t next = 0;
    for (auto _ : state) {
        build(builder, records()[next++ % kRecords]);
        benchmark::DoNotOptimize(builder.GetBufferPointer());
        benchmark::ClobberMemory();
    }
    state.counters["bytes"] = builder.GetSize();
}

void decodeFlatbuffers(benchmark::State& state) {
    flatbuffers::FlatBufferBuilder builder(256);
    std::vector<std::vector<std::uint8_t>> encoded;
    for (const Record& record : records()) {
        build(builder, record);
        encoded.emplace_back(builder.GetBufferPointer(),
                             builder.GetBufferPointer() + builder.GetSize());
    }
    Record record{};
    std::size_t next = 0;
    for (auto _ : state) {
        const auto* in =
            flatbuffers::GetRoot<mail_bench::FlatRecord>(encoded[next++ % kRecords].data());
        record.id = in->id();
        record.place[0] = in->x();
        record.place[1] = in->y();
        record.place[2] = in->z();
        record.halfs[0] = in->half1();
        record.halfs[1] = in->half2();
        record.small[0] = in->a();
        record.small[1] = in->b();
        record.small[2] = in->c();
        record.small[3] = in->d();
        record.small[4] = in->e();
        std::memcpy(record.blob, in->blob()->data(), sizeof record.blob);
        benchmark::DoNotOptimize(&record);
        benchmark::ClobberMemory();
    }
}

void copyMemcpy(benchmark::State& state) {
    std::size_t next = 0;
    Buffer buffer{};
    for (auto _ : state) {
        std::memcpy(buffer.data(), &records()[next++ % kRecords], kBytes);
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
}

// --- Delivery, to one of many mailboxes at random ----------------------------------------------

constexpr std::uint32_t kFirstAddress = 256, kMailboxes = 100'000;

class Box : public Mail::Mailbox {
public:
    using Mailbox::Mailbox;
    bool receive(const Mail::Message&) override { return true; }
};

class MapServer {
public:
    void addMailbox(const Mem::Ptr<Mail::Mailbox>& mailbox) {
        boxes_.emplace(mailbox->address, mailbox);
    }

    bool send(const Mail::Message& message) {
        const Mem::Ptr<Mail::Mailbox> receiver = find(message.getAddress());
        return receiver && receiver->receive(message);
    }

private:
    Mem::Ptr<Mail::Mailbox> find(std::uint32_t address) {
        const std::lock_guard lock(mutex_);
        const auto found = boxes_.find(address);
        return found == boxes_.end() ? nullptr : found->second;
    }

    std::mutex mutex_;
    std::map<std::uint32_t, Mem::Ptr<Mail::Mailbox>> boxes_;
};

template<class Server>
Server& filled(Server& server) {
    for (std::uint32_t i = 0; i < kMailboxes; ++i) {
        server.addMailbox(Mem::Ptr<Box>(new Box(kFirstAddress + i)));
    }
    return server;
}

// Threads send at the same time.
void sendTo(benchmark::State& state, auto& server) {
    std::minstd_rand random(static_cast<unsigned>(state.thread_index()) + 1);
    Mail::Message message(0);
    for (auto _ : state) {
        message.setAddress(kFirstAddress + static_cast<std::uint32_t>(random() % kMailboxes));
        benchmark::DoNotOptimize(server.send(message));
    }
}

void sendQz(benchmark::State& state) {
    static Mail::ServerImpl made(256);
    static Mail::Server& server = filled(made);
    sendTo(state, server);
}

void sendMap(benchmark::State& state) {
    static MapServer made;
    static MapServer& server = filled(made);
    sendTo(state, server);
}

BENCHMARK(sendQz)->Name("send/qz")->Threads(1)->Threads(8)->UseRealTime();
BENCHMARK(sendMap)->Name("send/map")->Threads(1)->Threads(8)->UseRealTime();

// Takes what is left of a chain of so many bytes.
void takeRemaining(benchmark::State& state) {
    const std::string bytes(static_cast<std::size_t>(state.range(0)), 'x');
    Mail::ByteWriter writer;
    const Mem::Ptr<Mail::Chunk> chain = writer.putData(bytes.data(), bytes.size()).end();
    Mail::ByteReader reader;
    for (auto _ : state) {
        reader.init(chain);
        reader.getInt(1);
        benchmark::DoNotOptimize(reader.getRemainingData());
    }
    bench::countEach(state, 1);
}

BENCHMARK(takeRemaining)->Name("remaining")->Apply(bench::threeSizes<10'000>);

BENCHMARK(encodeQz)->Name("encode/qz");
BENCHMARK(encodeMessageQz)->Name("encode/qz_message");
BENCHMARK(encodeProtobuf)->Name("encode/protobuf");
BENCHMARK(encodeFlatbuffers)->Name("encode/flatbuffers");
BENCHMARK(decodeQz)->Name("decode/qz");
BENCHMARK(decodeMessageQz)->Name("decode/qz_message");
BENCHMARK(decodeProtobuf)->Name("decode/protobuf");
BENCHMARK(decodeFlatbuffers)->Name("decode/flatbuffers");
BENCHMARK(copyMemcpy)->Name("copy/memcpy");

} // namespace

int main(int argc, char** argv) {
    registerPools<Qz>("qz");
    registerPools<Boost>("boost");
    registerPools<Tbb>("tbbmalloc");
    registerPools<Mimalloc>("mimalloc");
    registerPools<Glibc>("glibc");
    return bench::run(argc, argv, kGoals);
}

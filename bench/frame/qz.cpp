// The frame's services by this library.
#include "frame/common.h"

#include "Common/FSM.h"
#include "Core/Log.h"
#include "Lua/Config.h"
#include "Lua/State.h"
#include "Mail/Pool.h"
#include "Mail/Server.h"
#include "Mail/Stream.h"
#include "Math/Matrix.h"
#include "Math/Rotation3.h"
#include "Random/RandomManager.h"
#include "Shm/RingBuffer.h"
#include "Tasks/TaskManager.h"

#include <benchmark/benchmark.h>
#include <semaphore.h>

#include <lua.hpp>

namespace bench::frame {

namespace {

class Mails final : public Service {
public:
    Mails() {
        for (std::uint32_t i = 0; i < kMailboxes; ++i) {
            server_.addMailbox(Mem::Ptr<Box>(new Box(kFirstAddress + i)));
        }
    }

    void run() override {
        Bytes bytes{};
        for (const std::uint32_t address : addresses_) {
            ++bytes[0];
            Mail::Message message(address);
            message.addBytes(bytes.data(), bytes.size());
            server_.send(message);
        }
    }

private:
    class Box final : public Mail::Mailbox {
    public:
        using Mailbox::Mailbox;
        bool receive(const Mail::Message& message) override {
            Bytes bytes;
            message.getBytes(bytes.data(), bytes.size());
            sum_ += sumOf(bytes);
            return true;
        }

    private:
        std::uint64_t sum_ = 0;
    };

    Mail::ServerImpl server_{256};
    std::vector<std::uint32_t> addresses_ = makeAddresses();
};

class States final : public Service, Common::FSM, Common::FSM::SymbolRecepient {
public:
    States() : FSM("frame") { init(&tables_, this); }

    void run() override {
        for (const std::uint32_t event : events_) {
            onSymbol(event);
        }
    }

private:
    class Tables : public Descriptor {
    public:
        Tables() {
            for (std::uint32_t state = 0; state < 4; ++state) {
                for (std::uint32_t event = 0; event < 4; ++event) {
                    addTransition(state, event, state * 4 + event, (state + event + 1) % 4,
                                  kKeepStack);
                }
            }
            setInitialState(0);
        }
    };

    void onOutputSymbol(std::uint32_t symbol) override { sum_ += symbol; }

    Tables tables_;
    std::vector<std::uint32_t> events_ = makeEvents();
    std::uint64_t sum_ = 0;
};

class Random final : public Service {
public:
    void run() override {
        float sum = 0;
        for (std::size_t i = 0; i < kNumbers; ++i) {
            sum += object_.get();
        }
        benchmark::DoNotOptimize(sum);
    }

private:
    RandomObject object_{RandomObject::kUniform, 17};
};

class Settings final : public Service {
public:
    Settings() {
        lua_newtable(state_);
        Lua::Config config(state_);
        for (const std::string& path : paths_) {
            lua_pushnumber(state_, 1);
            config.set(path.c_str());
        }
    }
    ~Settings() override { QZ_lua_close(state_); }
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;

    void run() override {
        Lua::Config config(state_);
        double sum = 0;
        for (const std::string& path : paths_) {
            double value = 0;
            config.get(path.c_str());
            config.pop(&value);
            sum += value;
        }
        benchmark::DoNotOptimize(sum);
    }

private:
    lua_State* state_ = QZ_lua_open("frame");
    std::vector<std::string> paths_ = makePaths();
};

class Log final : public Service {
public:
    explicit Log(const std::string& directory) { qz_log_start(directory.c_str(), "qz"); }
    ~Log() override { qz_log_stop(); }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    void run() override {
        for (const std::string& line : lines_) {
            qz_log("FRAME", QZ_LOG_DEBUG, line.c_str());
        }
    }

private:
    std::vector<std::string> lines_ = makeLines();
};

class Tasks final : public Service {
public:
    Tasks() {
        for (std::size_t i = 0; i < kQueues; ++i) {
            queues_[i] = QZ_create_serial_queue(std::to_string(i).c_str());
        }
    }

    void run() override {
        Countdown all(kTasks + kQueues);
        std::array<Stage, kQueues> stages;
        stages.fill({kCallbacks / kQueues, &all});
        for (std::size_t i = 0; i < kTasks; ++i) {
            QZ_add_task(&all, [](void* given) { static_cast<Countdown*>(given)->done(); });
        }
        for (std::size_t i = 0; i < kCallbacks; ++i) {
            QZ_add_serial_queue_task(queues_[i % kQueues], &stages[i % kQueues],
                                     [](void* given) { static_cast<Stage*>(given)->done(); });
        }
        all.wait();
    }

private:
    std::array<std::size_t, kQueues> queues_;
};

class Rotations final : public Service {
public:
    void run() override {
        for (std::size_t i = 0; i < kRotations; ++i) {
            const float part = static_cast<float>(i) / kRotations;
            const auto rotation = Math::slerp(from_, to_, part);
            Math::Vector<3, float> axes[3];
            rotation.getBasis(&axes[0], &axes[1], &axes[2]);
            std::memcpy(matrices_[i][0], axes, sizeof axes);
        }
        benchmark::DoNotOptimize(matrices_.data());
        benchmark::ClobberMemory();
    }

private:
    Math::Rotation3<float> from_{0, 0, 0, 1}, to_{0.5F, 0.5F, 0.5F, 0.5F};
    std::vector<Math::Matrix<3, float>> matrices_{kRotations};
};

class Objects final : public Service {
public:
    void run() override {
        Hand hand{this, {}, Countdown(1)};
        for (void*& object : hand.objects) {
            object = pool_.alloc();
        }
        QZ_add_task(&hand, [](void* given) {
            auto* const made = static_cast<Hand*>(given);
            for (void* const object : made->objects) {
                made->owner->pool_.free(object);
            }
            made->released.done();
        });
        hand.released.wait();
    }

private:
    struct Hand {
        Objects* owner;
        std::array<void*, kObjects> objects;
        Countdown released;
    };

    Mem::Pool pool_{kObjectSize, 1024};
};

void exchange(Mail::Writer& writer, std::uint32_t& field, unsigned char bits) {
    writer.put(field, bits);
}

void exchange(Mail::Reader& reader, std::uint32_t& field, unsigned char bits) {
    field = reader.get(bits);
}

template<class Stream>
void exchange(Stream& stream, Entity& entity) {
    stream.stream(&entity.id, 32);
    for (float& value : entity.place) {
        stream.stream(&value, 32);
    }
    exchange(stream, entity.state, kStateBits);
    exchange(stream, entity.flags, kFlagBits);
    stream.stream(entity.rest, 160);
}

class Snapshots final : public Service {
public:
    ~Snapshots() override { ring_->Close(1); }

    void run() override {
        const Mail::Message message(1);
        {
            Mail::Writer writer(message);
            for (Entity& entity : entities_) {
                exchange(writer, entity);
            }
        }
        buffer_.resize(message.getSize());
        message.getBytes(buffer_.data(), buffer_.size());
        ring_->AddMessage(buffer_.data(), buffer_.size());
        sem_post(arrived_);
        reader_.wait(++sent_);
    }

private:
    static constexpr unsigned long kRingSize = 1 << 20;

    static sem_t* makeSemaphore() {
        auto* const made = makeShared<sem_t>();
        sem_init(made, 1, 0);
        return made;
    }

    std::uint64_t read() {
        if (buffer_.empty()) { // the reader's own object
            ring_ = CRingMessageBuffer::OpenNew(name_.c_str(), kRingSize, nullptr);
            buffer_.resize(Mail::Message::kMaxSize);
        }
        while (sem_wait(arrived_) != 0) {
        }
        unsigned long word = 0;
        std::int64_t time = 0;
        if (ring_->GetMessageA(word, word, word, time, buffer_.data(), buffer_.size()) == 0) {
            return 0;
        }
        Mail::Message message(1);
        message.addBytes(buffer_.data(), kEncodedSize);
        Mail::Reader reader(message);
        std::uint64_t sum = 0;
        Entity entity{};
        for (std::size_t i = 0; i < kEntities; ++i) {
            exchange(reader, entity);
            sum += sumOf(entity);
        }
        return sum;
    }

    static constexpr std::size_t kEncodedSize =
        (kEntities * (128 + kStateBits + kFlagBits + 160) + 7) / 8;

    std::string name_ = "frame_bench." + std::to_string(getpid());
    CRingMessageBuffer* ring_ = CRingMessageBuffer::OpenNew(name_.c_str(), kRingSize, nullptr);
    std::vector<char> buffer_;
    sem_t* arrived_ = makeSemaphore();
    std::vector<Entity> entities_ = makeEntities();
    std::uint64_t sent_ = 0;
    Reader reader_{[this] { return read(); }};
};

} // namespace

std::unique_ptr<Service> makeQzSnapshots() {
    return std::make_unique<Snapshots>();
}

Services makeQzServices(const std::string& directory) {
    Services services;
    services.push_back(std::make_unique<Mails>());
    services.push_back(std::make_unique<States>());
    services.push_back(std::make_unique<Random>());
    services.push_back(std::make_unique<Settings>());
    services.push_back(std::make_unique<Log>(directory));
    services.push_back(std::make_unique<Tasks>());
    services.push_back(std::make_unique<Rotations>());
    services.push_back(std::make_unique<Objects>());
    return services;
}

} // namespace bench::frame

// The frame's services by other libraries.
#include "frame/common.h"
#include "frame/snapshot.pb.h"
#include "fsm_msm.h"

#include <Eigen/Geometry>
#include <benchmark/benchmark.h>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/interprocess/ipc/message_queue.hpp>
#include <boost/pool/pool.hpp>
#include <spdlog/async_logger.h>
#include <spdlog/details/thread_pool.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include <lua.hpp>

#include <deque>
#include <functional>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

namespace bench::frame {

namespace {

// Any thread may send, and senders do not exclude each other.
class Mails final : public Service {
public:
    Mails() {
        for (std::uint32_t i = 0; i < kMailboxes; ++i) {
            receivers_.emplace(kFirstAddress + i,
                               [sum = std::uint64_t{0}](const Bytes& bytes) mutable {
                                   sum += sumOf(bytes);
                                   benchmark::DoNotOptimize(sum);
                               });
        }
    }

    void run() override {
        Bytes bytes{};
        for (const std::uint32_t address : addresses_) {
            ++bytes[0];
            send(address, bytes);
        }
    }

private:
    void send(std::uint32_t address, const Bytes& bytes) {
        const std::shared_lock lock(mutex_);
        const auto found = receivers_.find(address);
        if (found != receivers_.end()) {
            found->second(bytes);
        }
    }

    std::shared_mutex mutex_;
    std::unordered_map<std::uint32_t, std::function<void(const Bytes&)>> receivers_;
    std::vector<std::uint32_t> addresses_ = makeAddresses();
};

class States final : public Service {
public:
    void run() override { benchmark::DoNotOptimize(machine_.sumOf(events_)); }

private:
    Msm machine_;
    Events events_ = makeEvents();
};

class Random final : public Service {
public:
    void run() override {
        float sum = 0;
        for (std::size_t i = 0; i < kNumbers; ++i) {
            sum += static_cast<float>(generator_() >> 8U) * 0x1p-24F;
        }
        benchmark::DoNotOptimize(sum);
    }

private:
    std::mt19937 generator_{17};
};

class Settings final : public Service {
public:
    Settings() {
        lua_newtable(state_.get());
        for (const std::string& path : paths_) {
            set(path.c_str());
        }
    }

    void run() override {
        double sum = 0;
        for (const std::string& path : paths_) {
            sum += get(path.c_str());
        }
        benchmark::DoNotOptimize(sum);
    }

private:
    // Follows the path, and indexes only tables. Leaves the last table and the last name.
    bool walk(const char* path, bool makesTables) {
        lua_State* const state = state_.get();
        lua_pushvalue(state, -1);
        while (const char* const dot = std::strchr(path, '.')) {
            lua_pushlstring(state, path, static_cast<std::size_t>(dot - path));
            lua_gettable(state, -2);
            if (makesTables && lua_isnil(state, -1)) {
                lua_pop(state, 1);
                lua_newtable(state);
                lua_pushlstring(state, path, static_cast<std::size_t>(dot - path));
                lua_pushvalue(state, -2);
                lua_settable(state, -4);
            }
            lua_remove(state, -2);
            if (!lua_istable(state, -1)) {
                return false;
            }
            path = dot + 1;
        }
        lua_pushstring(state, path);
        return true;
    }

    void set(const char* path) {
        walk(path, true);
        lua_pushnumber(state_.get(), 1);
        lua_settable(state_.get(), -3);
        lua_pop(state_.get(), 1);
    }

    double get(const char* path) {
        lua_State* const state = state_.get();
        double value = 0;
        if (walk(path, false)) {
            lua_gettable(state, -2);
            value = lua_tonumber(state, -1);
            lua_pop(state, 1);
        }
        lua_pop(state, 1);
        return value;
    }

    std::unique_ptr<lua_State, decltype(&lua_close)> state_{luaL_newstate(), lua_close};
    std::vector<std::string> paths_ = makePaths();
};

class Log final : public Service {
public:
    explicit Log(const std::string& directory)
        : threads_(std::make_shared<spdlog::details::thread_pool>(8192, 1))
        , logger_(std::make_shared<spdlog::async_logger>(
              "FRAME",
              std::make_shared<spdlog::sinks::basic_file_sink_mt>(directory + "/spdlog.log", true),
              threads_, spdlog::async_overflow_policy::block)) {
        logger_->set_pattern("%E.%e %-7l %n: %v");
    }

    void run() override {
        for (const std::string& line : lines_) {
            logger_->info(line);
        }
    }

private:
    std::shared_ptr<spdlog::details::thread_pool> threads_;
    std::shared_ptr<spdlog::async_logger> logger_;
    std::vector<std::string> lines_ = makeLines();
};

class Arena {
public:
    template<class Task>
    void add(Task task) {
        arena_.enqueue(std::move(task));
    }

private:
    tbb::global_control control_{tbb::global_control::max_allowed_parallelism, workers() + 1};
    tbb::task_arena arena_{static_cast<int>(workers()), 0};
};

class Tasks final : public Service {
public:
    explicit Tasks(Arena& arena) : arena_(arena) {
        for (std::size_t i = 0; i < kQueues; ++i) {
            strands_.emplace_back(pool_.get_executor());
        }
    }

    void run() override {
        Countdown all(kTasks + kQueues);
        std::array<Stage, kQueues> stages;
        stages.fill({kCallbacks / kQueues, &all});
        for (std::size_t i = 0; i < kTasks; ++i) {
            arena_.add([&all] { all.done(); });
        }
        for (std::size_t i = 0; i < kCallbacks; ++i) {
            boost::asio::post(strands_[i % kQueues],
                              [&stage = stages[i % kQueues]] { stage.done(); });
        }
        all.wait();
    }

private:
    Arena& arena_;
    boost::asio::thread_pool pool_{workers()};
    std::deque<boost::asio::strand<boost::asio::thread_pool::executor_type>> strands_;
};

class Rotations final : public Service {
public:
    void run() override {
        for (std::size_t i = 0; i < kRotations; ++i) {
            const float part = static_cast<float>(i) / kRotations;
            matrices_[i] = from_.slerp(part, to_).toRotationMatrix();
        }
        benchmark::DoNotOptimize(matrices_.data());
        benchmark::ClobberMemory();
    }

private:
    Eigen::Quaternionf from_{1, 0, 0, 0}, to_{0.5F, 0.5F, 0.5F, 0.5F};
    std::vector<Eigen::Matrix3f> matrices_{kRotations};
};

class Objects final : public Service {
public:
    explicit Objects(Arena& arena) : arena_(arena) {}

    void run() override {
        std::array<void*, kObjects> objects;
        Countdown released(1);
        for (void*& object : objects) {
            const std::lock_guard lock(mutex_);
            object = pool_.malloc();
        }
        arena_.add([&] {
            for (void* const object : objects) {
                const std::lock_guard lock(mutex_);
                pool_.free(object);
            }
            released.done();
        });
        released.wait();
    }

private:
    Arena& arena_;
    std::mutex mutex_;
    boost::pool<> pool_{kObjectSize};
};

void fill(frame_bench::Entity& out, const Entity& entity) {
    out.set_id(entity.id);
    out.set_x(entity.place[0]);
    out.set_y(entity.place[1]);
    out.set_z(entity.place[2]);
    out.set_state(entity.state);
    out.set_flags(entity.flags);
    out.set_rest(entity.rest, sizeof entity.rest);
}

Entity extract(const frame_bench::Entity& in) {
    Entity entity{in.id(), {in.x(), in.y(), in.z()}, in.state(), in.flags(), {}};
    std::memcpy(entity.rest, in.rest().data(), std::min(sizeof entity.rest, in.rest().size()));
    return entity;
}

// The objects of protobuf are kept from frame to frame, as its manual advises.
class Snapshots final : public Service {
public:
    ~Snapshots() override { boost::interprocess::message_queue::remove(name_.c_str()); }

    void run() override {
        snapshot_.mutable_entities()->Clear();
        for (const Entity& entity : entities_) {
            fill(*snapshot_.add_entities(), entity);
        }
        buffer_.resize(snapshot_.ByteSizeLong());
        snapshot_.SerializeWithCachedSizesToArray(reinterpret_cast<std::uint8_t*>(buffer_.data()));
        queue_.send(buffer_.data(), buffer_.size(), 0);
        reader_.wait(++sent_);
    }

private:
    static constexpr std::size_t kLargest = 65536, kDepth = 16;

    std::uint64_t read() {
        buffer_.resize(kLargest);
        std::size_t size = 0;
        unsigned int priority = 0;
        queue_.receive(buffer_.data(), kLargest, size, priority);
        snapshot_.ParseFromArray(buffer_.data(), static_cast<int>(size));
        std::uint64_t sum = 0;
        for (const frame_bench::Entity& entity : snapshot_.entities()) {
            sum += sumOf(extract(entity));
        }
        return sum;
    }

    std::string name_ = "frame_bench_peer." + std::to_string(getpid());
    boost::interprocess::message_queue queue_{boost::interprocess::create_only, name_.c_str(),
                                              kDepth, kLargest};
    frame_bench::Snapshot snapshot_;
    std::vector<char> buffer_;
    std::vector<Entity> entities_ = makeEntities();
    std::uint64_t sent_ = 0;
    Reader reader_{[this] { return read(); }};
};

} // namespace

std::unique_ptr<Service> makePeersSnapshots() {
    return std::make_unique<Snapshots>();
}

Services makePeersServices(const std::string& directory) {
    static Arena arena;
    Services services;
    services.push_back(std::make_unique<Mails>());
    services.push_back(std::make_unique<States>());
    services.push_back(std::make_unique<Random>());
    services.push_back(std::make_unique<Settings>());
    services.push_back(std::make_unique<Log>(directory));
    services.push_back(std::make_unique<Tasks>(arena));
    services.push_back(std::make_unique<Rotations>());
    services.push_back(std::make_unique<Objects>(arena));
    return services;
}

} // namespace bench::frame

// A world of objects that refer to each other, saved to memory and loaded from it, compared with
// cereal's and Boost's binary archives.
#include "growth.h"

#include "IO/MemoryStream.h"
#include "Serial/CommonSerializer.h"

#include <benchmark/benchmark.h>
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/export.hpp>
#include <boost/serialization/shared_ptr.hpp>
#include <boost/serialization/vector.hpp>
#include <cereal/archives/binary.hpp>
#include <cereal/types/memory.hpp>
#include <cereal/types/polymorphic.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace peers {

// The fields of each library's object; it has two references besides them.
struct Fields {
    std::uint32_t number = 0;
    std::int32_t x = 0, y = 0, health = 0;
    std::uint16_t kind = 0, team = 0;
    std::uint8_t flags = 0;
    bool isAwake = false;
    float speed = 0, heading = 0, fuel = 0, mass = 0;
    double time = 0, distance = 0;
    std::int64_t score = 0;
    std::uint64_t seen = 0;
    std::int32_t ammunition = 0;
    std::uint32_t orders = 0;
    std::string name;
    std::vector<float> history;

    template<class Visit>
    void visit(Visit visit) {
        visit(number), visit(x), visit(y), visit(health), visit(kind), visit(team), visit(flags);
        visit(isAwake), visit(speed), visit(heading), visit(fuel), visit(mass), visit(time);
        visit(distance), visit(score), visit(seen), visit(ammunition), visit(orders), visit(name);
        visit(history);
    }
};

Fields fieldsOf(std::uint32_t i) {
    const auto n = static_cast<std::int32_t>(i);
    const auto real = static_cast<float>(i);
    Fields fields;
    fields.number = i;
    fields.x = n % 4000 - 2000;
    fields.y = n % 3000 - 1500;
    fields.health = n % 100;
    fields.kind = static_cast<std::uint16_t>(i % 300);
    fields.team = static_cast<std::uint16_t>(i % 8);
    fields.flags = static_cast<std::uint8_t>(i);
    fields.isAwake = i % 3 == 0;
    fields.speed = real * 0.25F;
    fields.heading = real * 0.01F;
    fields.fuel = 100 - real * 0.001F;
    fields.mass = 1000 + real;
    fields.time = i * 0.1;
    fields.distance = i * 3.7;
    fields.score = std::int64_t{n} * 977;
    fields.seen = std::uint64_t{i} << 20U;
    fields.ammunition = n % 60;
    fields.orders = i % 5000;
    fields.name = "unit " + std::to_string(i);
    fields.history = {real, real + 1, real + 2, real + 3};
    return fields;
}

struct CerealBase {
    virtual ~CerealBase() = default;

    template<class Archive>
    void serialize(Archive& /*archive*/) {}
};
struct CerealUnit : CerealBase {
    Fields fields;
    std::shared_ptr<CerealBase> leader, target;

    template<class Archive>
    void serialize(Archive& archive) {
        fields.visit([&](auto& field) { archive(field); });
        archive(leader, target);
    }
};

struct BoostBase {
    virtual ~BoostBase() = default;

    template<class Archive>
    void serialize(Archive& /*archive*/, unsigned /*version*/) {}
};
struct BoostUnit : BoostBase {
    Fields fields;
    std::shared_ptr<BoostBase> leader, target;

    template<class Archive>
    void serialize(Archive& archive, unsigned /*version*/) {
        archive& boost::serialization::base_object<BoostBase>(*this);
        fields.visit([&](auto& field) { archive& field; });
        archive& leader& target;
    }
};

} // namespace peers

CEREAL_REGISTER_TYPE(peers::CerealUnit)
CEREAL_REGISTER_POLYMORPHIC_RELATION(peers::CerealBase, peers::CerealUnit)
BOOST_CLASS_EXPORT(peers::BoostUnit)

namespace {

using namespace peers;

class Unit : public Common::SerializableObject {
public:
    Unit() : SerializableObject("Unit") {}

    void serialize(Common::CommonSerializer& serializer) override {
        fields.visit([&](auto& field) { serializer.transfer(field); });
        serializer.transfer("leader", leader);
        serializer.transfer("target", target);
    }

    Fields fields;
    Common::Ref<Unit> leader, target;
};

class UnitFactory : public Common::Factory {
public:
    UnitFactory() { addIdentifier("Unit"); }

    Common::Identifiable* create(const Common::Identifier& /*name*/) override { return new Unit; }
};

// Two references for each object, to near and far ones. None closes a cycle, so that counted
// objects are destroyed.
template<class Unit, class Make>
std::vector<Unit> makeUnits(std::int64_t count, Make make) {
    std::vector<Unit> units;
    for (std::int64_t i = 0; i < count; ++i) {
        units.push_back(make());
        units.back()->fields = fieldsOf(static_cast<std::uint32_t>(i));
        if (i > 0) {
            units.back()->leader = units[static_cast<std::size_t>(i - i % 10 - (i % 10 == 0))];
            const std::uint32_t anywhere = static_cast<std::uint32_t>(i) * 2654435761U;
            units.back()->target = units[anywhere % static_cast<std::size_t>(i)];
        }
    }
    return units;
}

struct Ours {
    using World = std::vector<Common::Ref<Unit>>;

    static World make(std::int64_t count) {
        return makeUnits<Common::Ref<Unit>>(count, [] { return Common::Ref<Unit>(new Unit); });
    }
    static std::string save(World& world) {
        io::MemoryStream stream;
        Common::CommonSerializer serializer(stream);
        serializer.transfer("world", world);
        serializer.finish();
        const auto bytes = stream.bytes();
        return {bytes.begin(), bytes.end()};
    }
    static World load(const std::string& bytes) {
        static Common::FactoryManager* const factories = [] {
            auto* const manager = new Common::FactoryManager;
            manager->addFactory(new UnitFactory);
            return manager;
        }();
        World world;
        io::BlockStream stream(static_cast<const void*>(bytes.data()), bytes.size());
        Common::CommonSerializer serializer(stream, *factories);
        serializer.transfer("world", world);
        return serializer.finish() ? world : World();
    }
};

template<class Unit, class Base, class Output, class Input>
struct Peer {
    using World = std::vector<std::shared_ptr<Base>>;

    static World make(std::int64_t count) {
        const auto units =
            makeUnits<std::shared_ptr<Unit>>(count, [] { return std::make_shared<Unit>(); });
        return {units.begin(), units.end()};
    }
    static std::string save(World& world) {
        std::ostringstream stream(std::ios::binary);
        {
            Output archive(stream);
            archive << static_cast<const World&>(world);
        }
        return stream.str();
    }
    static World load(const std::string& bytes) {
        std::istringstream stream(bytes, std::ios::binary);
        Input archive(stream);
        World world;
        archive >> world;
        return world;
    }
};

struct Cereal
    : Peer<CerealUnit, CerealBase, cereal::BinaryOutputArchive, cereal::BinaryInputArchive> {
    static std::string save(World& world) {
        std::ostringstream stream(std::ios::binary);
        cereal::BinaryOutputArchive archive(stream);
        archive(world);
        return stream.str();
    }
    static World load(const std::string& bytes) {
        std::istringstream stream(bytes, std::ios::binary);
        cereal::BinaryInputArchive archive(stream);
        World world;
        archive(world);
        return world;
    }
};

using Boost =
    Peer<BoostUnit, BoostBase, boost::archive::binary_oarchive, boost::archive::binary_iarchive>;

constexpr const char* kSize = "size";

// Reads what save reads, in the same order: what a walk over a million objects takes in any case.
std::uint64_t walk(Ours::World& world) {
    std::uint64_t sum = 0;
    const auto add = [&sum](auto& field) {
        if constexpr (requires { field.size(); }) {
            for (const auto& part : field) {
                sum += static_cast<std::uint64_t>(part);
            }
        } else {
            sum += static_cast<std::uint64_t>(static_cast<std::int64_t>(field));
        }
    };
    for (const auto& unit : world) {
        unit->fields.visit(add);
        sum += unit->leader ? unit->leader->fields.number : 0;
        sum += unit->target ? unit->target->fields.number : 0;
    }
    return sum;
}

void walkOurs(benchmark::State& state) {
    auto world = Ours::make(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(walk(world));
    }
    bench::countEach(state, state.range(0));
}

template<class Library>
void save(benchmark::State& state) {
    auto world = Library::make(state.range(0));
    std::size_t size = 0;
    for (auto _ : state) {
        size = Library::save(world).size();
    }
    state.counters[kSize] = static_cast<double>(size);
    bench::countEach(state, state.range(0));
}

// The destruction of the loaded world is not measured.
template<class Library>
void load(benchmark::State& state) {
    auto world = Library::make(state.range(0));
    const std::string bytes = Library::save(world);
    world.clear();
    for (auto _ : state) {
        auto loaded = Library::load(bytes);
        if (loaded.size() != static_cast<std::size_t>(state.range(0))) {
            state.SkipWithError("not loaded");
        }
        state.PauseTiming();
        loaded.clear();
        state.ResumeTiming();
    }
    bench::countEach(state, state.range(0));
}

void threeSizes(benchmark::internal::Benchmark* benchmark) {
    bench::threeSizes<10000>(benchmark->Unit(benchmark::kMillisecond));
}
void oneSize(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(100000)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(save<Ours>)->Name("save/ours")->Apply(threeSizes);
BENCHMARK(load<Ours>)->Name("load/ours")->Apply(threeSizes);
BENCHMARK(walkOurs)->Name("walk/ours")->Apply(threeSizes);
BENCHMARK(save<Cereal>)->Name("save/cereal")->Apply(oneSize);
BENCHMARK(load<Cereal>)->Name("load/cereal")->Apply(oneSize);
BENCHMARK(save<Boost>)->Name("save/boost")->Apply(oneSize);
BENCHMARK(load<Boost>)->Name("load/boost")->Apply(oneSize);

constexpr bench::Goal kGoals[] = {
    bench::atMost(0.5, "save/cereal/100000", "save/ours/100000"),
    bench::atMost(0.5, "load/cereal/100000", "load/ours/100000"),
    bench::atMost(0.8, "save/cereal/100000", "save/ours/100000", kSize),
    bench::atMost(1.0, "save/boost/100000", "save/ours/100000"),
    bench::atMost(1.0, "load/boost/100000", "load/ours/100000"),
    bench::growth(1.5, "save/ours/10000", "save/ours/1000000"),
    bench::growth(1.5, "load/ours/10000", "load/ours/1000000"),
    bench::growth(1.5, "walk/ours/10000", "walk/ours/1000000"), // the caches' part in the two above
};

} // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, kGoals);
}

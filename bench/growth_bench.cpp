// Operations on many items at three sizes: conversions of characters that do not fit, registries,
// and small operations on large objects.
#include "growth.h"

#include "Common/FSM.h"
#include "Common/Factory.h"
#include "Common/Profiler.h"
#include "Common/Text.h"
#include "Core/Clock.h"
#include "Random/RandomManager.h"
#include "Random/Randomizer.h"
#include "Shm/RingBuffer.h"
#include "Tasks/TaskManager.h"
#include "Util/ConsoleArgs.h"
#include "VFS/Locations.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace {

using bench::countEach;

// Times each call, for operations that few calls may hold up.
template<class Operation>
void timeCalls(benchmark::State& state, Operation operation) {
    std::vector<double> times;
    for (auto _ : state) {
        const std::int64_t begin = QZ_get_ticks();
        operation();
        times.push_back(static_cast<double>(QZ_get_ticks() - begin));
    }
    const double nanoseconds = 1e9 / static_cast<double>(QZ_get_tick_rate());
    state.counters["p99.9"] = bench::percentile(times, 0.999) * nanoseconds;
}

std::vector<std::string> names(const char* beginning, std::int64_t count) {
    std::vector<std::string> all;
    for (std::int64_t i = 0; i < count; ++i) {
        all.push_back(beginning + std::to_string(i));
    }
    return all;
}

// --- Texts.

// No character of the text is in the target's character set.
void japaneseToCyrillic(benchmark::State& state) {
    std::string text;
    while (text.size() < static_cast<std::size_t>(state.range(0))) {
        text += "いろはにほへとちりぬるを";
    }
    Common::iconv_local_init("windows-1251");
    for (auto _ : state) {
        benchmark::DoNotOptimize(Common::iconv_local_from_utf8(text));
    }
    Common::iconv_local_exit();
    countEach(state, state.range(0));
}

void firstCharacter(benchmark::State& state) {
    const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
    for (auto _ : state) {
        benchmark::DoNotOptimize(Common::utf8_substr(text, 0, 1));
    }
    countEach(state, 1);
}

// Short conversions, with or without another thread that converts a long text.
void convertBeside(benchmark::State& state) {
    const bool isBusy = state.range(0) != 0;
    const std::string text = "Привет", longText(std::size_t{1} << 20, 'x');
    Common::iconv_local_init("windows-1251");
    {
        const std::jthread other([&](const std::stop_token& stop) {
            while (isBusy && !stop.stop_requested()) {
                benchmark::DoNotOptimize(Common::iconv_local_from_utf8(longText));
            }
        });
        timeCalls(state, [&] { benchmark::DoNotOptimize(Common::iconv_local_from_utf8(text)); });
    }
    Common::iconv_local_exit();
}

// --- Registries.

// The peer of all registries: a look-up by a text.
void hashMap(benchmark::State& state) {
    const std::vector<std::string> keys = names("queue ", state.range(0));
    std::unordered_map<std::string, std::size_t> map;
    for (const std::string& key : keys) {
        map.emplace(key, map.size());
    }
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(map.find(keys[next * 7919 % keys.size()]));
        ++next;
    }
    countEach(state, 1);
}

void queueByName(benchmark::State& state) {
    const std::vector<std::string> keys = names("queue ", state.range(0));
    for (const std::string& key : keys) {
        QZ_create_serial_queue(key.c_str());
    }
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(QZ_create_serial_queue(keys[next * 7919 % keys.size()].c_str()));
        ++next;
    }
    countEach(state, 1);
}

class NamedFactory : public Common::Factory {
public:
    explicit NamedFactory(const std::string& name) { addIdentifier(name); }
    Common::Identifiable* create(const Common::Identifier&) override { return nullptr; }
};

struct Factories {
    explicit Factories(std::int64_t count) {
        for (const std::string& name : names("class ", count)) {
            all.emplace_back(new NamedFactory(name));
            manager->addFactory(all.back().get());
        }
    }

    Common::Ref<Common::FactoryManager> manager{new Common::FactoryManager};
    std::vector<Common::Ref<Common::Factory>> all;
};

void createByName(benchmark::State& state) {
    const Factories factories(state.range(0));
    const std::vector<std::string> keys = names("class ", state.range(0));
    const std::vector<Common::Identifier> identifiers(keys.begin(), keys.end());
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            factories.manager->create(identifiers[next * 7919 % identifiers.size()]));
        ++next;
    }
    countEach(state, 1);
}

void replaceFactory(benchmark::State& state) {
    const Factories factories(state.range(0));
    std::size_t next = 0;
    for (auto _ : state) {
        Common::Factory* const factory = factories.all[next * 7919 % factories.all.size()].get();
        factories.manager->removeFactory(factory);
        factories.manager->addFactory(factory);
        ++next;
    }
    countEach(state, 1);
}

void openRing(benchmark::State& state) {
    std::deque<CRingMessageBuffer> others;
    for (const std::string& name : names("bench ring ", state.range(0))) {
        others.emplace_back().Open(name.c_str(), 4096, nullptr);
    }
    for (auto _ : state) {
        CRingMessageBuffer ring;
        ring.Open("bench one more", 4096, nullptr);
    }
    countEach(state, 1);
}

void randomObjects(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto manager = std::make_unique<RandomManager>();
        const RandomTable table(1);
        state.ResumeTiming();
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            manager->add(new RandomObject(table, RandomObject::kCustom));
        }
        manager.reset();
    }
    countEach(state, state.range(0));
}

void randomizers(benchmark::State& state) {
    std::vector<GenerativeRandomizer> all(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        RandomizerManager manager;
        for (GenerativeRandomizer& one : all) {
            manager.add(&one);
        }
        for (GenerativeRandomizer& one : all) {
            manager.remove(&one);
        }
    }
    countEach(state, state.range(0));
}

void locations(benchmark::State& state) {
    const std::vector<std::string> paths = names("C:\\games\\", state.range(0));
    for (auto _ : state) {
        for (const std::string& path : paths) {
            const VFS_Location location{"games", path.c_str()};
            VFS_add_location(&location);
        }
        for (const std::string& path : paths) {
            VFS_del_location(path.c_str());
        }
    }
    VFS_exit();
    countEach(state, state.range(0));
}

// --- The profiler: sections with one name after another, with or without another thread that
// counts.

void profiledSection(benchmark::State& state) {
    const std::vector<std::string> sections = names("section ", state.range(0));
    const bool isWatched = state.range(1) != 0;
    Common::Profiler profiler;
    profiler.start();
    const std::jthread other([&](const std::stop_token& stop) {
        while (isWatched && !stop.stop_requested()) {
            profiler.visit([](void*, const char*, const Common::Profiler::Statistics&) {}, nullptr);
        }
    });
    std::size_t next = 0;
    timeCalls(state, [&] {
        { const Common::ProfiledFunc section(sections[next].c_str(), profiler); }
        next = next + 1 < sections.size() ? next + 1 : 0;
    });
    countEach(state, 1);
}

// --- Small operations on large objects.

struct WideTables : Common::FSM::Descriptor {
    explicit WideTables(std::uint32_t states) {
        setInitialState(0);
        for (std::uint32_t state = 0; state < states; ++state) {
            addTransition(state, 119, 0, (state + 1) % states, Common::FSM::kKeepStack);
        }
    }
};

struct Nobody final : Common::FSM::SymbolRecepient {
    void onOutputSymbol(std::uint32_t) override {}
};

// The start of a machine must not take time in proportion to its tables.
void startMachine(benchmark::State& state) {
    WideTables tables(static_cast<std::uint32_t>(state.range(0)));
    Nobody nobody;
    for (auto _ : state) {
        Common::FSM machine("", &tables, &nobody);
        benchmark::DoNotOptimize(machine);
    }
    countEach(state, 1);
}

void popArguments(benchmark::State& state) {
    const std::vector<std::string> tokens = names("argument ", state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        qz::ConsoleArgs arguments(tokens);
        state.ResumeTiming();
        while (arguments.size() > 0) {
            arguments.pop();
        }
    }
    countEach(state, state.range(0));
}

BENCHMARK(japaneseToCyrillic)->Name("text/unfit")->Apply(bench::threeSizes<10'000>);
BENCHMARK(firstCharacter)->Name("text/first_character")->Apply(bench::threeSizes<10'000>);
BENCHMARK(convertBeside)->Name("text/beside")->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK(hashMap)->Name("hash_map")->Apply(bench::threeSizes<1000>);
BENCHMARK(queueByName)->Name("queue/by_name")->Apply(bench::threeSizes<1000>);
BENCHMARK(createByName)->Name("factory/create")->Apply(bench::threeSizes<1000>);
BENCHMARK(replaceFactory)->Name("factory/replace")->Apply(bench::threeSizes<1000>);
BENCHMARK(openRing)->Name("ring/open")->Apply(bench::threeSizes<20>);
BENCHMARK(randomObjects)->Name("random/objects")->Apply(bench::threeSizes<1000>);
BENCHMARK(randomizers)->Name("random/generators")->Apply(bench::threeSizes<1000>);
BENCHMARK(locations)->Name("location/add_remove")->Apply(bench::threeSizes<1000>);
BENCHMARK(profiledSection)
    ->Name("profiler/section")
    ->ArgsProduct({{10, 100, 1000}, {0, 1}})
    ->UseRealTime();
BENCHMARK(startMachine)->Name("fsm/init")->Apply(bench::threeSizes<600>);
BENCHMARK(popArguments)->Name("arguments/pop")->Apply(bench::threeSizes<1000>);

// A hundred times as many items do not fit into the caches, so that a look-up in any hash map takes
// up to ten times as long.
constexpr bench::Goal kGoals[] = {
    bench::growth(1.5, "text/unfit/10000", "text/unfit/1000000"),
    bench::growth(1.5, "text/first_character/10000", "text/first_character/1000000"),
    bench::atMost(2.0, "text/beside/0", "text/beside/1", "p99.9"),
    bench::atMost(5.0, "hash_map/100000", "queue/by_name/100000"),
    bench::growth(15.0, "queue/by_name/1000", "queue/by_name/100000"),
    bench::atMost(5.0, "hash_map/100000", "factory/create/100000"),
    bench::growth(10.0, "factory/replace/1000", "factory/replace/100000"),
    bench::growth(2.0, "ring/open/20", "ring/open/2000"),
    bench::growth(10.0, "random/objects/1000", "random/objects/100000"),
    bench::growth(10.0, "random/generators/1000", "random/generators/100000"),
    bench::growth(10.0, "location/add_remove/1000", "location/add_remove/100000"),
    bench::growth(2.0, "profiler/section/10/0", "profiler/section/1000/0"),
    bench::atMost(2.0, "profiler/section/10/0", "profiler/section/10/1", "p99.9"),
    bench::growth(1.5, "fsm/init/600", "fsm/init/60000"),
    bench::growth(2.0, "arguments/pop/1000", "arguments/pop/100000"),
};

} // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, kGoals);
}

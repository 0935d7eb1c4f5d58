// Four states and four events in random order, with a full table in which each transition has an
// output: the table-driven machine, compared with Boost.MSM, Boost.Statechart and a switch.
#include "fsm_msm.h"
#include "fsm_table.h"
#include "goals.h"

#include "Common/FSM.h"

#include <benchmark/benchmark.h>
#include <boost/mpl/list.hpp>
#include <boost/statechart/event.hpp>
#include <boost/statechart/simple_state.hpp>
#include <boost/statechart/state_machine.hpp>
#include <boost/statechart/transition.hpp>

#include <random>

namespace {

using bench::atMost;
using bench::Events;
using bench::kCount;
using bench::output;
using bench::sumOf;
using bench::target;

constexpr bench::Goal kGoals[] = {
    atMost(0.9, "msm", "qz"),
    atMost(1.0, "statechart", "qz"),
    bench::beside("switch", "qz"),
};

constexpr std::size_t kEvents = 4096;

class Tables : public Common::FSM::Descriptor {
public:
    Tables() {
        for (std::uint32_t state = 0; state < kCount; ++state) {
            for (std::uint32_t event = 0; event < kCount; ++event) {
                addTransition(state, event, output(state, event), target(state, event),
                              Common::FSM::kKeepStack);
            }
        }
        setInitialState(0);
    }
};

class Qz final : Common::FSM, Common::FSM::SymbolRecepient {
public:
    Qz() : FSM("bench") { init(&tables_, this); }

    void handle(std::uint32_t event) { onSymbol(event); }

    std::uint64_t sum = 0;

private:
    void onOutputSymbol(std::uint32_t symbol) final { sum += symbol; }

    Tables tables_;
};

class Switch {
public:
    // Not inlined, since the others cannot be part of their caller's loop either.
    [[gnu::noinline]] void handle(std::uint32_t event) {
        switch (state_) {
        case 0:
            step<0>(event);
            break;
        case 1:
            step<1>(event);
            break;
        case 2:
            step<2>(event);
            break;
        default:
            step<3>(event);
            break;
        }
    }

    std::uint64_t sum = 0;

private:
    template<std::uint32_t State>
    void step(std::uint32_t event) {
        switch (event) {
        case 0:
            enter<State, 0>();
            break;
        case 1:
            enter<State, 1>();
            break;
        case 2:
            enter<State, 2>();
            break;
        default:
            enter<State, 3>();
            break;
        }
    }
    template<std::uint32_t State, std::uint32_t Event>
    void enter() {
        sum += output(State, Event);
        state_ = target(State, Event);
    }

    std::uint32_t state_ = 0;
};

namespace chart = boost::statechart;

template<std::uint32_t Number>
struct ChartEvent : chart::event<ChartEvent<Number>> {};

template<std::uint32_t Number>
struct ChartState;

struct ChartMachine : chart::state_machine<ChartMachine, ChartState<0>> {
    template<std::uint32_t From, std::uint32_t Event>
    void emit(const ChartEvent<Event>&) {
        sum += output(From, Event);
    }

    std::uint64_t sum = 0;
};

template<std::uint32_t Number>
struct ChartState : chart::simple_state<ChartState<Number>, ChartMachine> {
    template<std::uint32_t Event>
    using To = chart::transition<ChartEvent<Event>, ChartState<target(Number, Event)>, ChartMachine,
                                 &ChartMachine::emit<Number, Event>>;
    using reactions = boost::mpl::list<To<0>, To<1>, To<2>, To<3>>;
};

class Statechart : ChartMachine {
public:
    Statechart() { initiate(); }

    void handle(std::uint32_t event) {
        switch (event) {
        case 0:
            process_event(ChartEvent<0>());
            break;
        case 1:
            process_event(ChartEvent<1>());
            break;
        case 2:
            process_event(ChartEvent<2>());
            break;
        default:
            process_event(ChartEvent<3>());
            break;
        }
    }

    using ChartMachine::sum;
};

Events randomEvents() {
    std::mt19937 generator(20261121);
    Events events(kEvents);
    for (std::uint32_t& event : events) {
        event = generator() % kCount;
    }
    return events;
}

std::uint64_t sumOf(bench::Msm& machine, const Events& events) {
    return machine.sumOf(events);
}

template<typename Machine>
void run(benchmark::State& state) {
    const Events events = randomEvents();
    Machine machine;
    Switch model;
    if (sumOf(machine, events) != sumOf(model, events)) {
        state.SkipWithError("the machine does something else than the switch");
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(sumOf(machine, events));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kEvents));
}

BENCHMARK(run<Qz>)->Name("qz");
BENCHMARK(run<bench::Msm>)->Name("msm");
BENCHMARK(run<Statechart>)->Name("statechart");
BENCHMARK(run<Switch>)->Name("switch");

} // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, kGoals);
}

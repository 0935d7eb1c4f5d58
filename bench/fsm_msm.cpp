#include "fsm_msm.h"

#include <boost/msm/back/state_machine.hpp>
#include <boost/msm/front/state_machine_def.hpp>

namespace bench {

namespace {

namespace front = boost::msm::front;

template<std::uint32_t Number>
struct Event {};

// Without queues and exception handling, which these events do not need.
struct Front : front::state_machine_def<Front> {
    using no_exception_thrown = int;
    using no_message_queue = int;

    template<std::uint32_t Number>
    struct State : front::state<> {};
    using initial_state = State<0>;

    template<std::uint32_t From, std::uint32_t Number>
    void emit(const Event<Number>&) {
        sum += output(From, Number);
    }

    template<std::uint32_t From, std::uint32_t Number>
    using Row =
        a_row<State<From>, Event<Number>, State<target(From, Number)>, &Front::emit<From, Number>>;

    struct transition_table
        : boost::mpl::vector<Row<0, 0>, Row<0, 1>, Row<0, 2>, Row<0, 3>, Row<1, 0>, Row<1, 1>,
                             Row<1, 2>, Row<1, 3>, Row<2, 0>, Row<2, 1>, Row<2, 2>, Row<2, 3>,
                             Row<3, 0>, Row<3, 1>, Row<3, 2>, Row<3, 3>> {};

    std::uint64_t sum = 0;
};

} // namespace

class Msm::Machine : public boost::msm::back::state_machine<Front> {
public:
    void handle(std::uint32_t event) {
        switch (event) {
        case 0:
            process_event(Event<0>());
            break;
        case 1:
            process_event(Event<1>());
            break;
        case 2:
            process_event(Event<2>());
            break;
        default:
            process_event(Event<3>());
            break;
        }
    }
};

Msm::Msm() : machine_(std::make_unique<Machine>()) {
    machine_->start();
}

Msm::~Msm() = default;

std::uint64_t Msm::sumOf(const Events& events) {
    return bench::sumOf(*machine_, events);
}

} // namespace bench

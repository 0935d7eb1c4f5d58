#include "Common/FSM.h"
#include "support/test.h"

#include <deque>

namespace {

using Common::FSM;
using Number = std::uint32_t;

constexpr Number kNone = 0xFFFFFFFD, kNew = 0xFFFFFFFE, kPrevious = 0xFFFFFFFF;

struct Tables {
    Number initial = kNone;
    std::map<std::pair<Number, Number>, FSM::Transition> transitions; // by state and symbol
    std::map<Number, Number> onEnter, onExit;
    std::set<Number> finish;

    void addTransition(Number from, Number symbol, Number output, Number to, Number stack) {
        transitions[{from, symbol}] = {output, to, stack};
    }
    void addOnEnterOutputSymbol(Number state, Number symbol) { onEnter[state] = symbol; }
    void addFinishState(Number state) { finish.insert(state); }
};

template<typename Table>
void change(Table& table, Number n) {
    if (n % 3 == 0) {
        table.addTransition(n % 5, n % 6, n % 40, n % 7, FSM::kKeepStack);
    } else if (n % 3 == 1) {
        table.addOnEnterOutputSymbol(n % 4, n % 40);
    } else {
        table.addFinishState(n % 6);
    }
}

class Descriptor : public FSM::Descriptor {
public:
    explicit Descriptor(const Tables& tables) {
        setInitialState(tables.initial);
        for (const auto& [from, to] : tables.transitions) {
            addTransition(from.first, from.second, to.outputSymbol, to.targetState,
                          static_cast<FSM::StackOperation>(to.stackOperation));
        }
        for (const auto& [state, symbol] : tables.onEnter) {
            addOnEnterOutputSymbol(state, symbol);
            addOnExitOutputSymbol(state, tables.onExit.at(state));
        }
        for (const Number state : tables.finish) {
            addFinishState(state);
        }
    }

    using FSM::Descriptor::addFinishState;
    using FSM::Descriptor::addOnEnterOutputSymbol;
    using FSM::Descriptor::addTransition;
    using FSM::Descriptor::setInitialState;
};

class Machine : public FSM {
public:
    Machine() : FSM("tested") {}
    using FSM::FSM;
    using FSM::onSymbol;
    using FSM::onSymbolDelayed;
    using FSM::restore;
};

// The rules once more, over maps.
class Reference {
public:
    void init(const Tables* tables, FSM::SymbolRecepient* recipient) {
        recipients_.push_back(recipient);
        tables_ = tables;
        busy_ = finished_ = false;
        enter(tables_->initial);
    }
    void uninit() { *this = Reference(); }
    void reset() {
        if (tables_ != nullptr) {
            enter(tables_->initial);
        }
        busy_ = false;
    }

    void onSymbol(Number symbol) {
        if (tables_ != nullptr) {
            queue_.push_back(symbol);
            checkSymbolsQueue();
        }
    }
    void onSymbolDelayed(Number symbol) { queue_.push_back(symbol); }
    void checkSymbolsQueue() {
        if (!busy_ && !queue_.empty()) {
            const Number symbol = queue_.front();
            queue_.pop_front();
            if (tables_ != nullptr) {
                busy_ = true;
                process(symbol);
                busy_ = false;
            }
        }
    }

    Number getState() const { return state_; }
    bool inFinishState() const { return finished_; }
    bool inInitialState() const { return tables_ != nullptr && state_ == tables_->initial; }
    bool symbolsQueueIsEmpty() const { return queue_.empty(); }

private:
    static Number at(const std::map<Number, Number>& map, Number key) {
        const auto found = map.find(key);
        return found != map.end() ? found->second : kNone;
    }
    void emit(Number symbol) {
        // Those who come or go during the round count at once.
        for (std::size_t i = 0; symbol != kNone && i < recipients_.size(); ++i) {
            recipients_[i]->onOutputSymbol(symbol);
        }
    }
    void enter(Number state) {
        if (state != kNone && tables_ != nullptr) {
            state_ = state;
            finished_ = tables_->finish.count(state) != 0;
            emit(at(tables_->onEnter, state));
        }
    }
    void process(Number symbol) {
        for (const Number from : {kNone, state_}) {
            const auto found = tables_->transitions.find({from, symbol});
            if (found != tables_->transitions.end() && !found->second.isEmpty()) {
                follow(found->second);
                return;
            }
        }
    }
    void follow(FSM::Transition step) {
        Number target = step.targetState;
        if (target == kPrevious) {
            target = stack_.empty() ? kPrevious : stack_.back();
            step.stackOperation = 3;
        }
        const bool onStack = !stack_.empty();
        if (step.targetState != kNone) {
            if (onStack && (step.stackOperation == 2 || step.stackOperation == 3)) {
                stack_.pop_back();
            }
            if (step.stackOperation == 1 || (onStack && step.stackOperation == 2)) {
                stack_.push_back(state_);
            }
        }
        if (target != kNone && target != state_) {
            emit(at(tables_->onExit, state_));
        }
        emit(step.outputSymbol);
        if (target != kNone && target != state_) {
            enter(target);
        }
    }

    std::vector<FSM::SymbolRecepient*> recipients_;
    Number state_ = kNone;
    std::deque<Number> queue_;
    std::vector<Number> stack_;
    bool busy_ = false, finished_ = false;
    const Tables* tables_ = nullptr;
};

template<typename Tested>
std::string lookOf(const Tested& machine) {
    return std::to_string(machine.getState()) + (machine.inFinishState() ? " finished" : "") +
           (machine.inInitialState() ? " initial" : "") +
           (machine.symbolsQueueIsEmpty() ? "\n" : " waiting\n");
}

// A machine, or the reference, with two recipients that write down what they get and, as the
// numbers say, call the machine from within.
template<typename Tested, typename Table>
class Player {
public:
    explicit Player(Table* tables) : tables_(tables) { subject_.init(tables_, &first_); }

    void play(Number action, Number symbol) {
        callsLeft_ = 4;
        act(action, symbol);
        log += lookOf(subject_);
    }

    std::string log;

private:
    struct Recipient final : FSM::SymbolRecepient {
        Recipient(Player* owner, const char* name) : player(owner), tag(name) {}
        void onOutputSymbol(Number symbol) override {
            player->log += tag + std::to_string(symbol) + " ";
            if (player->callsLeft_-- > 0) {
                player->act(symbol * 7 % 64, symbol % 6);
            }
        }
        Player* player;
        std::string tag;
    };

    void act(Number action, Number symbol) {
        if (action == 0) {
            subject_.uninit();
        } else if (action == 1) {
            subject_.init(tables_, &second_);
        } else if (action < 4) {
            subject_.reset();
        } else if (action < 7) {
            change(*tables_, symbol + ++changes_ * 7);
        } else if (action < 12) {
            subject_.onSymbolDelayed(symbol);
        } else if (action < 28) {
            subject_.checkSymbolsQueue();
        } else {
            subject_.onSymbol(symbol);
        }
    }

    Tested subject_;
    Table* tables_;
    Recipient first_{this, "a"}, second_{this, "b"};
    int callsLeft_ = 4;
    Number changes_ = 0;
};

class RandomTables {
public:
    Number below(Number end) { return static_cast<Number>(generator_() % end); }

    Tables next() {
        Tables tables;
        const bool plain = below(2) == 0;
        tables.initial = below(8) == 0 ? kNone : below(5);
        for (Number i = below(30); i > 0; --i) {
            const Number from = below(8) == 0 ? kNone : below(5), symbol = below(6);
            tables.transitions[{from, symbol}] = {output(), target(), plain ? 0 : below(5)};
        }
        for (Number state : {0u, 1u, 2u, 3u, 7u}) {
            tables.onEnter[state] = plain ? kNone : output();
            tables.onExit[state] = plain ? kNone : output();
        }
        tables.finish = {below(6), below(6), kPrevious};
        return tables;
    }

private:
    Number output() { return below(3) == 0 ? kNone : below(40); }
    Number target() {
        constexpr Number special[] = {kNone, kNew, kPrevious, kPrevious};
        const Number index = below(16);
        return index < 4 ? special[index] : index % 6;
    }

    std::mt19937 generator_{73};
};

TEST(FSM, DoesWhatTheReferenceDoes) {
    RandomTables random;
    for (int round = 0; round < 1000; ++round) {
        Tables tables = random.next();
        Descriptor descriptor(tables);
        Player<Machine, Descriptor> tested(&descriptor);
        Player<Reference, Tables> reference(&tables);
        for (int step = 0; step < 100; ++step) {
            const Number action = random.below(64);
            const Number symbol = random.below(9) == 0 ? kNone + random.below(3) : random.below(7);
            tested.play(action, symbol);
            reference.play(action, symbol);
        }
        ASSERT_EQ(tested.log, reference.log) << "round " << round;
    }
}

struct Recorder final : FSM::SymbolRecepient {
    void onOutputSymbol(Number symbol) override { symbols.push_back(symbol); }
    std::vector<Number> symbols;
};

TEST(FSM, GoesOnAfterARecipientThatThrows) {
    struct Thrower final : FSM::SymbolRecepient {
        void onOutputSymbol(Number symbol) override {
            if (symbol == 1) {
                throw 1;
            }
        }
    } thrower;
    Tables tables;
    tables.initial = 0;
    tables.transitions[{0, 0}] = {1, 0, 0};
    tables.transitions[{0, 1}] = {2, 3, 0};
    Descriptor descriptor(tables);
    Machine machine;
    machine.init(&descriptor, &thrower);
    EXPECT_THROW(machine.onSymbol(0), int);
    machine.onSymbol(1);
    EXPECT_EQ(machine.getState(), 3U);
}

TEST(FSM, GoesOnWhereAnotherOneWas) {
    Tables tables;
    tables.initial = 0;
    tables.transitions[{0, 0}] = {1, 1, FSM::kPushState};
    tables.transitions[{1, 0}] = {2, kPrevious, 0};
    tables.onEnter[1] = 3;
    tables.onExit[1] = kNone;
    tables.finish = {1};
    Descriptor descriptor(tables);
    Recorder recorder, other;
    Machine machine("first", &descriptor, &recorder);
    machine.onSymbol(0);
    machine.onSymbolDelayed(0);
    Machine again("again", &descriptor, &other);
    again.restore(machine.getSnapshot());
    EXPECT_EQ(other.symbols, std::vector<Number>{});
    EXPECT_EQ(again.getState(), 1U);
    EXPECT_TRUE(again.inFinishState());
    again.checkSymbolsQueue();
    EXPECT_EQ(other.symbols, std::vector<Number>{2});
    EXPECT_EQ(again.getState(), 0U) << "by the stack";
    EXPECT_FALSE(again.inFinishState());
}

TEST(FSM, TablesHaveABound) {
    const std::uint64_t before = qz::getSTLAllocatorCounter();
    {
        Descriptor descriptor{Tables()};
        const std::uint64_t empty = qz::getSTLAllocatorCounter();
        for (const Number beyond : {FSM::kTableLimit, kNone - 1, kNone, kNew, kPrevious}) {
            descriptor.addTransition(0, beyond, 1, 1, FSM::kKeepStack);
            descriptor.addOnEnterOutputSymbol(beyond, 1);
            if (beyond != FSM::ANY_STATE) {
                descriptor.addTransition(beyond, 0, 1, 1, FSM::kKeepStack);
            }
        }
        EXPECT_EQ(qz::getSTLAllocatorCounter(), empty);
        descriptor.addTransition(FSM::kTableLimit - 1, 10, 1, FSM::NO_STATE, FSM::kKeepStack);
        descriptor.setInitialState(FSM::kTableLimit - 1);
        Recorder recorder;
        Machine machine("big", &descriptor, &recorder);
        machine.onSymbol(9);
        machine.onSymbol(10);
        EXPECT_EQ(recorder.symbols, std::vector<Number>{1});
    }
    EXPECT_EQ(qz::getSTLAllocatorCounter(), before);
}

TEST(FSM, ClearKeepsTheTransitionsFromAnyState) {
    Descriptor descriptor({0, {{{0, 1}, {5, 0, 0}}, {{kNone, 2}, {6, kNone, 0}}}, {}, {}, {}});
    Recorder recorder;
    Machine earlier("earlier", &descriptor, &recorder);
    descriptor.setInitializied();
    descriptor.load();
    EXPECT_FALSE(descriptor.isInitializied());
    earlier.onSymbol(1);
    Machine machine("cleared", &descriptor, nullptr);
    machine.onSymbol(2);
    machine.onSymbolDelayed(2);
    machine.checkSymbolsQueue();
    EXPECT_TRUE(machine.symbolsQueueIsEmpty()) << "a machine without recipients drops its input";
    machine.init(&descriptor, &recorder);
    EXPECT_EQ(machine.getState(), FSM::NO_STATE);
    machine.onSymbol(1);
    machine.onSymbol(2);
    EXPECT_EQ(recorder.symbols, std::vector<Number>{6});
}

} // namespace

#include "Common/FSM.h"

#include "Core/Hash.h"
#include "support/test.h"

namespace {

using Common::FSM;
using Number = std::uint32_t;

constexpr Number kNone = 0xFFFFFFFD, kNew = 0xFFFFFFFE, kPrevious = 0xFFFFFFFF;

class Descriptor : public FSM::Descriptor {
public:
    explicit Descriptor(Number initial) { setInitialState(initial); }

    using FSM::Descriptor::addFinishState;
    using FSM::Descriptor::addOnEnterOutputSymbol;
    using FSM::Descriptor::addOnExitOutputSymbol;
    using FSM::Descriptor::addTransition;
    using FSM::Descriptor::setInitialState;
};

class Machine : public FSM {
public:
    using FSM::FSM;
    using FSM::onSymbol;
    using FSM::onSymbolDelayed;
    using FSM::restore;
};

// A machine with two recipients that record the symbols they get and call the machine from within,
// with numbers that depend on the symbol.
class Player {
public:
    explicit Player(Descriptor* tables) : tables_(tables) { machine_.init(tables_, &first_); }

    void play(Number action, Number symbol) {
        callsLeft_ = 4;
        act(action, symbol);
        log += std::to_string(machine_.getState()) + (machine_.inFinishState() ? " finished" : "") +
               (machine_.inInitialState() ? " initial" : "") +
               (machine_.symbolsQueueIsEmpty() ? "\n" : " waiting\n");
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
            machine_.uninit();
        } else if (action == 1) {
            machine_.init(tables_, &second_);
        } else if (action < 4) {
            machine_.reset();
        } else if (action < 7) {
            change(symbol + ++changes_ * 7);
        } else if (action < 12) {
            machine_.onSymbolDelayed(symbol);
        } else if (action < 28) {
            machine_.checkSymbolsQueue();
        } else {
            machine_.onSymbol(symbol);
        }
    }

    void change(Number n) {
        if (n % 3 == 0) {
            tables_->addTransition(n % 5, n % 6, n % 40, n % 7, FSM::kKeepStack);
        } else if (n % 3 == 1) {
            tables_->addOnEnterOutputSymbol(n % 4, n % 40);
        } else {
            tables_->addFinishState(n % 6);
        }
    }

    Machine machine_{"tested"};
    Descriptor* tables_;
    Recipient first_{this, "a"}, second_{this, "b"};
    int callsLeft_ = 4;
    Number changes_ = 0;
};

class RandomTables {
public:
    Number below(Number end) { return static_cast<Number>(generator_() % end); }

    Descriptor next() {
        const bool plain = below(2) == 0;
        Descriptor tables(below(8) == 0 ? kNone : below(5));
        for (Number i = below(30); i > 0; --i) {
            const Number from = below(8) == 0 ? kNone : below(5), symbol = below(6);
            const Number symbolOut = output(), to = target(), stack = plain ? 0 : below(5);
            tables.addTransition(from, symbol, symbolOut, to,
                                 static_cast<FSM::StackOperation>(stack));
        }
        for (const Number state : {0u, 1u, 2u, 3u, 7u}) {
            tables.addOnEnterOutputSymbol(state, plain ? kNone : output());
            tables.addOnExitOutputSymbol(state, plain ? kNone : output());
        }
        for (const Number state : {below(6), below(6), kPrevious}) {
            tables.addFinishState(state);
        }
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

// The sum was made by a second implementation of the rules, over maps, in the same plays.
TEST(FSM, DoesWhatTheRulesSay) {
    RandomTables random;
    std::string log;
    for (int round = 0; round < 1000; ++round) {
        Descriptor tables = random.next();
        Player player(&tables);
        for (int step = 0; step < 100; ++step) {
            const Number action = random.below(64);
            const Number symbol = random.below(9) == 0 ? kNone + random.below(3) : random.below(7);
            player.play(action, symbol);
        }
        log += player.log;
    }
    EXPECT_EQ(QZ_hash_data(log.data(), log.size(), 0), 1258846399U);
}

struct Recorder final : FSM::SymbolRecepient {
    void onOutputSymbol(Number symbol) override {
        symbols.push_back(symbol);
        if (symbol == thrown) {
            throw 1;
        }
    }
    std::vector<Number> symbols;
    Number thrown = kNone;
};

TEST(FSM, GoesOnAfterARecipientThatThrows) {
    Recorder recorder;
    recorder.thrown = 1;
    Descriptor descriptor(0);
    descriptor.addTransition(0, 0, 1, 0, FSM::kKeepStack);
    descriptor.addTransition(0, 1, 2, 3, FSM::kKeepStack);
    Machine machine("throwing", &descriptor, &recorder);
    EXPECT_THROW(machine.onSymbol(0), int);
    machine.onSymbol(1);
    EXPECT_EQ(machine.getState(), 3U);
}

TEST(FSM, GoesOnWhereAnotherOneWas) {
    Descriptor descriptor(0);
    descriptor.addTransition(0, 0, 1, 1, FSM::kPushState);
    descriptor.addTransition(1, 0, 2, kPrevious, FSM::kKeepStack);
    descriptor.addOnEnterOutputSymbol(1, 3);
    descriptor.addFinishState(1);
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
        Descriptor descriptor(kNone);
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
    Descriptor descriptor(0);
    descriptor.addTransition(0, 1, 5, 0, FSM::kKeepStack);
    descriptor.addTransition(kNone, 2, 6, kNone, FSM::kKeepStack);
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

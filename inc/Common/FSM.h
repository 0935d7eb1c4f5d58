/* Table-driven finite state machines. C++ only, for programs built by the library's compiler.
 *
 * A symbol takes a machine from one state to another. Up to three output symbols are sent to the
 * machine's recipients, in this order: the one for leaving the old state, the transition's own, the
 * one for entering the new state. A stack of states lets a transition return to where the machine
 * came from.
 *
 *     struct DoorTables : Common::FSM::Descriptor {
 *         void load() override {
 *             clear();
 *             setInitialState(kClosed);
 *             addTransition(kClosed, kPush, kCreak, kOpen, Common::FSM::kKeepStack);
 *             addTransition(kOpen, kPush, kSlam, kClosed, Common::FSM::kKeepStack);
 *             setInitializied();
 *         }
 *     };
 *
 * The application chooses the numbers of states and symbols. They are indices into tables, so they
 * should be small and dense. Nothing here reports an error: symbols and states that the tables do
 * not know are ignored. A machine without a descriptor or without a recipient ignores all input.
 *
 * Threads: a machine and its descriptor belong to one thread. Recipients may call any function of
 * the machine that calls them, but not destroy it; see onSymbol.
 */
#ifndef QZCORE_COMMON_FSM_H
#define QZCORE_COMMON_FSM_H

#include "Common/Allocator.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <cstdint>

namespace Common {

/* Members are exported one by one, so that the compiler can inline the others. */
class FSM {
public:
    /* These three have the same value; the place where it is used tells which is meant. */
    QZ_API static const std::uint32_t NO_STATE = 0xFFFFFFFD;  /* no state; as a target: stay */
    QZ_API static const std::uint32_t NO_SYMBOL = 0xFFFFFFFD; /* no symbol; as an output: none */
    QZ_API static const std::uint32_t ANY_STATE = 0xFFFFFFFD; /* as a source: in every state */

    /* Reserved. Machines treat it as a state that has no transitions. */
    QZ_API static const std::uint32_t NEW_STATE = 0xFFFFFFFE;

    /* As a target: the machine pops the state on top of the stack and enters it. If the stack is
     * empty, it enters a state with the number PREVIOUS_STATE. */
    QZ_API static const std::uint32_t PREVIOUS_STATE = 0xFFFFFFFF;

    /* States and symbols of the tables are below this number. Additions for others are ignored. */
    QZ_API static const std::uint32_t kTableLimit = 1u << 20;

    /* What a transition does to the stack before the state changes. Transitions that stay, and
     * those to PREVIOUS_STATE, ignore it. */
    enum StackOperation : std::uint32_t {
        kKeepStack = 0,
        kPushState = 1,  /* push the current state */
        kReplaceTop = 2, /* overwrite the top with the current state, if there is a top */
        kPopTop = 3,     /* drop the top, if there is one */
    };

    /* A default transition is empty: it does nothing. */
    struct Transition {
        std::uint32_t outputSymbol = NO_SYMBOL;
        std::uint32_t targetState = NO_STATE;
        std::uint32_t stackOperation = kKeepStack;

        Transition() = default;
        Transition(std::uint32_t output, std::uint32_t target, std::uint32_t operation)
            : outputSymbol(output), targetState(target), stackOperation(operation) {}

        bool isEmpty() const { return outputSymbol == NO_SYMBOL && targetState == NO_STATE; }
    };

    /* The tables. Any number of machines may share a descriptor, which outlives them. A subclass
     * fills the tables in load(). */
    class QZ_API Descriptor {
    public:
        Descriptor() = default;
        Descriptor(const Descriptor&) = default;
        Descriptor& operator=(const Descriptor&) = default;
        virtual ~Descriptor();

        /* Empties the tables, except for the transitions from ANY_STATE, which stay in force. The
         * base's load() does the same. */
        virtual void clear();
        virtual void load();

        /* A mark for the owner that the tables are filled; clear() removes it. Machines do not ask
         * for it. The name is misspelt. */
        void setInitializied() { initialized_ = true; }
        bool isInitializied() const { return initialized_; }

    protected:
        /* Replaces the transition of that state and symbol. A transition from ANY_STATE holds in
         * every state and goes before the state's own. */
        void addTransition(std::uint32_t fromState, std::uint32_t symbol,
                           std::uint32_t outputSymbol, std::uint32_t targetState,
                           StackOperation operation);

        /* Adding a state a second time changes nothing. */
        void addFinishState(std::uint32_t state);

        /* Set what a state emits when it is entered or left. */
        void addOnEnterOutputSymbol(std::uint32_t state, std::uint32_t symbol);
        void addOnExitOutputSymbol(std::uint32_t state, std::uint32_t symbol);

        void setInitialState(std::uint32_t state) { initialState_ = state; }

    private:
        friend class FSM;

        using Row = qz::vector<Transition>;
        using Symbols = qz::vector<std::uint32_t>;

        static const Transition* cell(const Row& row, std::uint32_t symbol) {
            return symbol < row.size() ? &row[symbol] : nullptr;
        }
        static std::uint32_t symbolAt(const Symbols& symbols, std::uint32_t state) {
            return state < symbols.size() ? symbols[state] : NO_SYMBOL;
        }
        QZ_LOCAL void setSymbol(Symbols& symbols, std::uint32_t state, std::uint32_t symbol);

        /* A transition from one state that only emits a symbol and changes the state: it keeps the
         * stack, and the two states emit nothing. */
        struct Step {
            std::uint32_t outputSymbol = NO_SYMBOL;
            std::uint32_t targetState = NO_STATE; /* NO_STATE: look it up in the tables */
            bool finishes = false;
        };

        /* All steps of the tables, found in one pass and forgotten when the tables change. A copy
         * has none. */
        struct Steps {
            Steps() = default;
            Steps(const Steps& /*other*/) {}
            // NOLINTNEXTLINE(cert-oop54-cpp): nothing is copied
            Steps& operator=(const Steps& /*other*/) {
                forget();
                return *this;
            }

            void forget() {
                isFound = false;
                states = 0;
                ++version;
            }
            const Step* find(std::uint32_t state, std::uint32_t symbol) const {
                if (state >= states || symbol >= symbols) {
                    return nullptr;
                }
                const Step& step = table[std::size_t{state} * symbols + symbol];
                return step.targetState != NO_STATE ? &step : nullptr;
            }

            qz::vector<Step> table;
            std::uint32_t states = 0;
            std::uint32_t symbols = 0;
            std::uint32_t version = 0; /* of the tables */
            bool isFound = false;      /* or the tables are too large */
        };

        QZ_LOCAL void findSteps();
        QZ_LOCAL Step stepFor(std::uint32_t state, std::uint32_t symbol) const;
        QZ_LOCAL const Transition* findTransition(std::uint32_t state, std::uint32_t symbol) const;

        std::uint32_t getInitialState() const { return initialState_; }
        QZ_LOCAL bool isFinishState(std::uint32_t state) const;
        const Row* getTransitions(std::uint32_t state) const {
            return state < stateTransitions_.size() ? &stateTransitions_[state] : nullptr;
        }
        const Transition* getTransition(std::uint32_t symbol) const {
            return cell(anyStateTransitions_, symbol);
        }
        const Transition* getTransition(std::uint32_t state, std::uint32_t symbol) const {
            const Row* const row = getTransitions(state);
            return row != nullptr ? cell(*row, symbol) : nullptr;
        }

        bool initialized_ = false;
        std::uint32_t initialState_ = NO_STATE;
        Symbols finishStates_; // sorted, each once
        Row anyStateTransitions_;
        qz::vector<Row> stateTransitions_;
        Symbols onExitSymbols_;
        Symbols onEnterSymbols_;
        Steps steps_;
    };

    /* Gets a machine's output symbols. The name is misspelt. */
    class SymbolRecepient {
    public:
        virtual void onOutputSymbol(std::uint32_t symbol) = 0;

    protected:
        ~SymbolRecepient() = default;
    };

    /* The name only documents the host's code; it is not stored. */
    QZ_API explicit FSM(const char* name);
    QZ_API FSM(const char* name, Descriptor* descriptor, SymbolRecepient* recipient);

    /* A copy has the same tables, recipients, state, stack and queue, and is not processing a
     * symbol. So the copy of an object that is its own recipient sends its symbols to the original,
     * even after that was destroyed: such a class deletes its copy constructor and assignment. */
    FSM(const FSM&) = default;
    FSM& operator=(const FSM&) = default;

    /* Adds a recipient behind the present ones, even if it is one of them, and sets the descriptor.
     * The machine owns neither. A null recipient adds none; a null descriptor leaves the machine
     * without one. If the machine is then valid, it enters the initial state, which may emit a
     * symbol; without an initial state it stays in its state. It is fastest if the tables are
     * filled before this call and not changed later. In a recipient, see reset. */
    QZ_API void init(Descriptor* descriptor, SymbolRecepient* recipient);

    /* Brings the machine back to what it was before the first init, without recipients, descriptor,
     * state, stack and queue. */
    QZ_API void uninit();

    /* Enters the initial state again. Stack and queue stay as they are. In a recipient, the symbol
     * then no longer counts as being processed: onSymbol and checkSymbolsQueue process symbols at
     * once, inside of it, before it goes on. */
    QZ_API void reset();

    /* Processes one symbol, the oldest of the queue. Call it once a frame, or until the queue is
     * empty. It does nothing while the machine processes a symbol. */
    QZ_API void checkSymbolsQueue();
    bool symbolsQueueIsEmpty() const { return delayedSymbols_.empty(); }

    /* NO_STATE before the first state was entered. */
    std::uint32_t getState() const { return state_; }
    bool inInitialState() const {
        return descriptor_ != nullptr && state_ == descriptor_->getInitialState();
    }
    bool inFinishState() const { return inFinish_; }

    /* The state, stack and queue of a machine, to be saved (Serial/Containers.h) or shown. */
    struct Snapshot {
        std::uint32_t state = NO_STATE;
        qz::deque<std::uint32_t> stack; /* its top at the end */
        qz::deque<std::uint32_t> queue; /* the oldest symbol in front */

        template<class Serializer>
        void serialize(Serializer& serializer) {
            serializer.transfer("state", state);
            serializer.transfer("stack", stack);
            serializer.transfer("queue", queue);
        }
    };

    QZ_API Snapshot getSnapshot() const;

    Descriptor* getDescriptor() const { return descriptor_; }

    /* Whether there are a descriptor and a recipient. */
    bool valid() const { return descriptor_ != nullptr && !recipients_.empty(); }

protected:
    /* Processes a symbol. If symbols wait in the queue, it goes behind them and the oldest is
     * processed. If a recipient calls this, while the machine processes another symbol, the symbol
     * waits in the queue for a later onSymbol or checkSymbolsQueue; see also reset. An exception of
     * a recipient reaches the caller; the machine stays in the state that it has reached by then.
     */
    void onSymbol(std::uint32_t symbol) {
        if (valid()) {
            if (!busy_.set && delayedSymbols_.empty()) {
                onSymbol_(symbol);
            } else {
                onSymbolBehindOthers(symbol);
            }
        }
    }

    /* Sets the state, stack and queue to those of a snapshot of a machine with the same tables, and
     * emits nothing. States and symbols that the tables do not know are not refused: check a
     * snapshot that comes from outside. Must not be called while the machine processes a symbol. */
    QZ_API void restore(Snapshot snapshot);

    /* Puts a symbol into the queue. */
    QZ_API void onSymbolDelayed(std::uint32_t symbol);

private:
    struct Busy {
        Busy() = default;
        Busy(const Busy& /*other*/) {}
        // NOLINTNEXTLINE(cert-oop54-cpp): nothing is copied
        Busy& operator=(const Busy& /*other*/) { return *this; }

        bool set = false;
    };

    QZ_API void onSymbolBehindOthers(std::uint32_t symbol);
    QZ_API void onSymbol_(std::uint32_t symbol);
    void enterToState_(std::uint32_t state);
    void exitFromState_();
    void sendOutputSymbol_(std::uint32_t symbol);

    void make(const Descriptor::Step& step);
    void follow(const Transition& transition);
    std::uint32_t takeTarget(const Transition& transition);
    std::uint32_t popState();
    void changeStack(std::uint32_t operation);
    bool changesTo(std::uint32_t state) const { return state != NO_STATE && state != state_; }

    qz::vector<SymbolRecepient*> recipients_;
    std::uint32_t state_ = NO_STATE;
    qz::deque<std::uint32_t> delayedSymbols_;
    qz::deque<std::uint32_t> stateStack_;
    Busy busy_;
    bool inFinish_ = false;
    Descriptor* descriptor_ = nullptr;
};

} // namespace Common

#endif

#include "Common/FSM.h"

#include <utility>

namespace Common {

// These are not inline, because some compilers would not export inline constants.
const std::uint32_t FSM::NO_STATE;
const std::uint32_t FSM::NO_SYMBOL;
const std::uint32_t FSM::ANY_STATE;
const std::uint32_t FSM::NEW_STATE;
const std::uint32_t FSM::PREVIOUS_STATE;
const std::uint32_t FSM::kTableLimit;

FSM::FSM(const char* /*name*/) {}

FSM::FSM(const char* name, Descriptor* descriptor, SymbolRecepient* recipient) : FSM(name) {
    init(descriptor, recipient);
}

void FSM::init(Descriptor* descriptor, SymbolRecepient* recipient) {
    if (recipient != nullptr) {
        recipients_.push_back(recipient);
    }
    descriptor_ = descriptor;
    busy_.set = false;
    inFinish_ = false;
    if (valid()) {
        descriptor_->findSteps();
        enterToState_(descriptor_->getInitialState());
    }
}

void FSM::uninit() {
    *this = FSM("");
}

void FSM::reset() {
    if (valid()) {
        enterToState_(descriptor_->getInitialState());
    }
    busy_.set = false;
}

FSM::Snapshot FSM::getSnapshot() const {
    return {state_, stateStack_, delayedSymbols_};
}

void FSM::restore(Snapshot snapshot) {
    state_ = snapshot.state;
    stateStack_ = std::move(snapshot.stack);
    delayedSymbols_ = std::move(snapshot.queue);
    inFinish_ = descriptor_ != nullptr && descriptor_->isFinishState(state_);
}

void FSM::onSymbolBehindOthers(std::uint32_t symbol) {
    delayedSymbols_.push_back(symbol);
    checkSymbolsQueue();
}

void FSM::onSymbolDelayed(std::uint32_t symbol) {
    delayedSymbols_.push_back(symbol);
}

void FSM::checkSymbolsQueue() {
    if (busy_.set || delayedSymbols_.empty()) {
        return;
    }
    const std::uint32_t symbol = delayedSymbols_.front();
    delayedSymbols_.pop_front();
    if (valid()) {
        onSymbol_(symbol);
    }
}

// Does what follow() does, as long as recipients leave the tables alone. Whether the state changes
// cannot be predicted, so this has no branch for it.
inline void FSM::make(const Descriptor::Step& step) {
    const Descriptor* const descriptor = descriptor_;
    const std::uint32_t version = descriptor->steps_.version;
    const std::uint32_t target = step.targetState;
    const bool finishes = step.finishes;
    if (step.outputSymbol != NO_SYMBOL) {
        sendOutputSymbol_(step.outputSymbol);
    }
    if (descriptor_ == descriptor && descriptor->steps_.version == version) {
        const bool stays = state_ == target;
        inFinish_ = (stays & inFinish_) | (!stays & finishes);
        state_ = target;
    } else if (changesTo(target)) {
        enterToState_(target);
    }
}

void FSM::onSymbol_(std::uint32_t symbol) {
    // If a recipient throws, the machine goes on from the state that it has then.
    struct Turn {
        Busy& busy;
        explicit Turn(Busy& given) : busy(given) { busy.set = true; }
        ~Turn() { busy.set = false; }
    } const turn(busy_);
    if (const Descriptor::Step* const step = descriptor_->steps_.find(state_, symbol)) {
        make(*step);
    } else if (const Transition* const found = descriptor_->findTransition(state_, symbol)) {
        follow(*found);
    }
}

// Recipients may change the tables, so nothing is read from the transition once one was called.
// They may also reset the machine or change its state: the remaining steps go on from there.
void FSM::follow(const Transition& transition) {
    const std::uint32_t output = transition.outputSymbol;
    const std::uint32_t target = takeTarget(transition);
    if (changesTo(target)) {
        exitFromState_();
    }
    if (output != NO_SYMBOL) {
        sendOutputSymbol_(output);
    }
    if (changesTo(target)) {
        enterToState_(target);
    }
}

std::uint32_t FSM::takeTarget(const Transition& transition) {
    if (transition.targetState == PREVIOUS_STATE) {
        return popState();
    }
    if (transition.targetState != NO_STATE && transition.stackOperation != kKeepStack) {
        changeStack(transition.stackOperation);
    }
    return transition.targetState;
}

std::uint32_t FSM::popState() {
    if (stateStack_.empty()) {
        return PREVIOUS_STATE;
    }
    const std::uint32_t state = stateStack_.back();
    stateStack_.pop_back();
    return state;
}

void FSM::changeStack(std::uint32_t operation) {
    if (operation == kPushState) {
        stateStack_.push_back(state_);
    } else if (operation == kReplaceTop && !stateStack_.empty()) {
        stateStack_.back() = state_;
    } else if (operation == kPopTop && !stateStack_.empty()) {
        stateStack_.pop_back();
    }
}

void FSM::exitFromState_() {
    const std::uint32_t symbol = Descriptor::symbolAt(descriptor_->onExitSymbols_, state_);
    if (symbol != NO_SYMBOL) {
        sendOutputSymbol_(symbol);
    }
}

// A recipient of an earlier symbol may have taken the descriptor away.
void FSM::enterToState_(std::uint32_t state) {
    if (state == NO_STATE || descriptor_ == nullptr) {
        return;
    }
    state_ = state;
    inFinish_ = descriptor_->isFinishState(state);
    const std::uint32_t symbol = Descriptor::symbolAt(descriptor_->onEnterSymbols_, state);
    if (symbol != NO_SYMBOL) {
        sendOutputSymbol_(symbol);
    }
}

// By index, because a recipient may add another one or take all of them away.
void FSM::sendOutputSymbol_(std::uint32_t symbol) {
    // NOLINTNEXTLINE(modernize-loop-convert)
    for (std::size_t i = 0; i < recipients_.size(); ++i) {
        recipients_[i]->onOutputSymbol(symbol);
    }
}

} // namespace Common

#include "Common/FSM.h"

namespace Common {

FSM::Descriptor::~Descriptor() = default;

void FSM::Descriptor::clear() {
    initialized_ = false;
    initialState_ = NO_STATE;
    finishStates_.clear();
    stateTransitions_.clear();
    onExitSymbols_.clear();
    onEnterSymbols_.clear();
}

void FSM::Descriptor::load() {
    Descriptor::clear();
}

void FSM::Descriptor::addTransition(std::uint32_t fromState, std::uint32_t symbol,
                                    std::uint32_t outputSymbol, std::uint32_t targetState,
                                    StackOperation operation) {
    const bool fromAny = fromState == ANY_STATE;
    if (symbol >= kTableLimit || (fromState >= kTableLimit && !fromAny)) {
        return;
    }
    if (!fromAny && fromState >= stateTransitions_.size()) {
        stateTransitions_.resize(fromState + 1);
    }
    Row& row = fromAny ? anyStateTransitions_ : stateTransitions_[fromState];
    if (symbol >= row.size()) {
        row.resize(symbol + 1);
    }
    row[symbol] = Transition(outputSymbol, targetState, operation);
}

void FSM::Descriptor::addFinishState(std::uint32_t state) {
    const auto place = std::lower_bound(finishStates_.begin(), finishStates_.end(), state);
    if (place == finishStates_.end() || *place != state) {
        finishStates_.insert(place, state);
    }
}

void FSM::Descriptor::addOnEnterOutputSymbol(std::uint32_t state, std::uint32_t symbol) {
    setSymbol(onEnterSymbols_, state, symbol);
}

void FSM::Descriptor::addOnExitOutputSymbol(std::uint32_t state, std::uint32_t symbol) {
    setSymbol(onExitSymbols_, state, symbol);
}

void FSM::Descriptor::setSymbol(Symbols& symbols, std::uint32_t state, std::uint32_t symbol) {
    if (state >= kTableLimit) {
        return;
    }
    if (state >= symbols.size()) {
        symbols.resize(state + 1, NO_SYMBOL);
    }
    symbols[state] = symbol;
}

} // namespace Common

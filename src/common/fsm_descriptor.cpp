#include "Common/FSM.h"

#include <algorithm>
#include <utility>

namespace Common {

namespace {

// Larger tables have no steps, because they are sparse as a rule.
constexpr std::size_t kMostSteps = std::size_t{1} << 16;

} // namespace

FSM::Descriptor::~Descriptor() = default;

void FSM::Descriptor::clear() {
    steps_.forget();
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
    steps_.forget();
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
    steps_.forget();
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
    steps_.forget();
    if (state >= symbols.size()) {
        symbols.resize(state + 1, NO_SYMBOL);
    }
    symbols[state] = symbol;
}

// An any-state transition that is not empty goes before the state's own.
const FSM::Transition* FSM::Descriptor::findTransition(std::uint32_t state,
                                                       std::uint32_t symbol) const {
    const Transition* found = getTransition(symbol);
    if (found == nullptr || found->isEmpty()) {
        found = getTransition(state, symbol);
    }
    return found != nullptr && !found->isEmpty() ? found : nullptr;
}

void FSM::Descriptor::findSteps() {
    const auto states = static_cast<std::uint32_t>(stateTransitions_.size());
    if (std::exchange(steps_.isFound, true) || states > kMostSteps) {
        return;
    }
    std::size_t symbols = anyStateTransitions_.size();
    for (const Row& row : stateTransitions_) {
        symbols = std::max(symbols, row.size());
    }
    if (states * symbols > kMostSteps) {
        return;
    }
    steps_.symbols = static_cast<std::uint32_t>(symbols);
    steps_.table.clear();
    for (std::uint32_t state = 0; state < states; ++state) {
        for (std::uint32_t symbol = 0; symbol < steps_.symbols; ++symbol) {
            steps_.table.push_back(stepFor(state, symbol));
        }
    }
    steps_.states = states;
}

FSM::Descriptor::Step FSM::Descriptor::stepFor(std::uint32_t state, std::uint32_t symbol) const {
    const Transition* const found = findTransition(state, symbol);
    if (found == nullptr || found->targetState >= NO_STATE || found->stackOperation != kKeepStack) {
        return {};
    }
    const std::uint32_t target = found->targetState;
    const bool isSilent = (target == state || symbolAt(onExitSymbols_, state) == NO_SYMBOL) &&
                          symbolAt(onEnterSymbols_, target) == NO_SYMBOL;
    return isSilent ? Step{found->outputSymbol, target, isFinishState(target)} : Step{};
}

bool FSM::Descriptor::isFinishState(std::uint32_t state) const {
    return std::binary_search(finishStates_.begin(), finishStates_.end(), state);
}

} // namespace Common

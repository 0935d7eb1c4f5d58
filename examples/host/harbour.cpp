#include "harbour.h"

namespace {

enum Symbol : std::uint32_t { kAsked, kLeft, kGrant, kRefuse };

} // namespace

Harbour::Tables::Tables(int berths) : berths_(static_cast<std::uint32_t>(berths)) {}

void Harbour::Tables::load() {
    clear();
    setInitialState(0);
    for (std::uint32_t taken = 0; taken < berths_; ++taken) {
        addTransition(taken, kAsked, kGrant, taken + 1, FSM::kKeepStack);
        addTransition(taken + 1, kLeft, FSM::NO_SYMBOL, taken, FSM::kKeepStack);
    }
    addTransition(berths_, kAsked, kRefuse, FSM::NO_STATE, FSM::kKeepStack);
    setInitializied();
}

Harbour::Harbour(std::uint32_t ownAddress, std::string name, Point place, int berths)
    : Mailbox(ownAddress), FSM("harbour"), name_(std::move(name)), place_(place), tables_(berths) {
    tables_.load();
    init(&tables_, this);
}

bool Harbour::fits(const HarbourState& state) const {
    return state.machine.state <= tables_.berths();
}

void Harbour::resume(const HarbourState& state) {
    restore(state.machine);
    asking_ = state.asking;
}

bool Harbour::receive(const Mail::Message& message) {
    const Letter letter = readLetter(message);
    asking_ = letter.sender;
    switch (letter.kind) {
    case Letter::Kind::askBerth:
        onSymbol(kAsked);
        return true;
    case Letter::Kind::berthLeft:
        onSymbol(kLeft);
        return true;
    default:
        return false;
    }
}

void Harbour::onOutputSymbol(std::uint32_t symbol) {
    post(asking_,
         {symbol == kGrant ? Letter::Kind::berthGranted : Letter::Kind::berthRefused, address});
}

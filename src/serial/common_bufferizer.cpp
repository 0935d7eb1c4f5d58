#include "Serial/CommonBufferizer.h"

#include "serial/bufferizer_state.h"
#include "serial/parts.h"
#include "serial/serializer_state.h"

#include <exception>
#include <utility>

namespace Common {

CommonBufferizer::CommonBufferizer() : state_(new State) {}

CommonBufferizer::CommonBufferizer(FactoryManager& factories)
    : CommonBufferizer(factories, Limits()) {}

CommonBufferizer::CommonBufferizer(FactoryManager& factories, const Limits& limits)
    : state_(new State) {
    state_->factories = &factories;
    state_->limits = limits;
}

CommonBufferizer::~CommonBufferizer() = default;

void CommonBufferizer::State::fail(std::string_view what) noexcept {
    try {
        error = what;
    } catch (const std::exception&) {
        error = "out of memory"; // short enough to need no memory
    }
}

void CommonBufferizer::State::mark(serial::Entry& entry) {
    if (!entry.isMarked) {
        marked.push_back(&entry);
        entry.isMarked = true;
    }
}

bool CommonBufferizer::add(std::uint32_t number, const Ref<SerializableObject>& object) {
    State& state = *state_;
    return state.change<bool>([&] {
        const serial::Entry* const entry = state.history.find(number);
        if (number == 0 || !object || (entry != nullptr && entry->object) ||
            state.history.numberOf(*object) != 0) {
            state.fail("an object or a number that cannot be added");
            return false;
        }
        if (object->getClassIdentifier().getClassName().size() > serial::kMostNameBytes) {
            state.fail("a class whose name is too long");
            return false;
        }
        serial::Entry& added = state.history.findOrAdd(number);
        // If one of these throws, an entry without object or versions stays, which does no harm.
        state.mark(added);
        state.history.set(added, object);
        return true;
    });
}

bool CommonBufferizer::remove(std::uint32_t number) {
    State& state = *state_;
    return state.change<bool>([&] {
        if (!mark(number)) {
            return false;
        }
        state.history.set(*state.history.find(number), {});
        return true;
    });
}

SerializableObject* CommonBufferizer::get(std::uint32_t number) const {
    const serial::Entry* const entry = state_->history.find(number);
    return entry == nullptr ? nullptr : entry->object.get();
}

std::size_t CommonBufferizer::getCount() const {
    return state_->history.count();
}

bool CommonBufferizer::mark(std::uint32_t number) {
    State& state = *state_;
    return state.change<bool>([&] {
        serial::Entry* const entry = state.history.find(number);
        if (entry == nullptr || !entry->object) {
            state.fail("there is no object of this number");
            return false;
        }
        state.mark(*entry);
        return true;
    });
}

std::uint32_t CommonBufferizer::capture() {
    return state_->callClasses<std::uint32_t>([&] { return state_->capture(false); });
}

std::uint32_t CommonBufferizer::captureMarked() {
    return state_->callClasses<std::uint32_t>([&] { return state_->capture(true); });
}

std::vector<Mail::Message> CommonBufferizer::write(std::uint32_t base, std::uint32_t address,
                                                   std::size_t mostBytes) {
    using Messages = std::vector<Mail::Message>;
    State& state = *state_;
    return state.attempt<Messages>([&]() -> Messages {
        if (getNumber() == 0) {
            state.fail("there is no state yet");
            return {};
        }
        Messages messages = state.write(base, address, mostBytes);
        if (messages.empty()) {
            state.fail(serial::kNotCut);
        }
        return messages;
    });
}

void CommonBufferizer::forget(std::uint32_t before) {
    state_->change<bool>([&] {
        state_->history.forget(before);
        return true;
    });
}

bool CommonBufferizer::read(const StateParts& parts) {
    if (!parts.isComplete()) {
        state_->fail("a state of which parts are missing");
        return false;
    }
    return state_->callClasses<bool>(
        [&] { return state_->read(parts.header_, serial::BitReader(parts.bytes_)); });
}

void CommonBufferizer::reset() {
    State& state = *state_;
    state.change<bool>([&] {
        state.sender = 0;
        state.areAllMarked = true;
        state.history.clear();
        state.session = serial::newSession();
        return true;
    });
}

std::uint32_t CommonBufferizer::getNumber() const {
    return state_->history.newest().state;
}

std::uint32_t CommonBufferizer::getSession() const {
    return state_->session;
}

const std::string& CommonBufferizer::getError() const {
    return state_->error;
}

} // namespace Common

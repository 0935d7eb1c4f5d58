#include "lookout.h"

namespace {

constexpr double kCoefficients[] = {0, 0, 1}; // the output is the sample itself; time in ticks

} // namespace

Lookout::Lookout() : Mailbox(kLookout) {}

bool Lookout::receive(const Mail::Message& message) {
    const Letter letter = readLetter(message);
    if (letter.kind != Letter::Kind::position) {
        return false;
    }
    const auto& [position, velocity] = letter.motion;
    const auto [found, isNew] = state_.tracks.try_emplace(letter.sender);
    Track& track = found->second;
    ++state_.reports;
    if (!isNew) {
        state_.error += distance({track.x.value(), track.y.value()}, position);
        ++state_.predicted;
    }
    track.x.init(position.x, velocity.x * state_.tick, kCoefficients);
    track.y.init(position.y, velocity.y * state_.tick, kCoefficients);
    return true;
}

void Lookout::update(double seconds) {
    state_.tick = seconds;
    for (auto& [sender, track] : state_.tracks) {
        track.x.step(1, kCoefficients);
        track.y.step(1, kCoefficients);
    }
}

#include "lookout.h"

namespace {

constexpr double kCoefficients[] = {0, 0, 1}; // what is put in is what comes out, in ticks

} // namespace

Lookout::Lookout() : Mailbox(kLookout) {}

bool Lookout::receive(const Mail::Message& message) {
    const Letter letter = readLetter(message);
    if (letter.kind != Letter::Kind::position) {
        return false;
    }
    const auto& [position, velocity] = letter.motion;
    const auto [found, isNew] = tracks_.try_emplace(letter.sender);
    Track& track = found->second;
    ++reports_;
    if (!isNew) {
        error_ += distance({track.x.value(), track.y.value()}, position);
        ++predicted_;
    }
    track.x.init(position.x, velocity.x * tick_, kCoefficients);
    track.y.init(position.y, velocity.y * tick_, kCoefficients);
    return true;
}

void Lookout::update(double seconds) {
    tick_ = seconds;
    for (auto& [sender, track] : tracks_) {
        track.x.step(1, kCoefficients);
        track.y.step(1, kCoefficients);
    }
}

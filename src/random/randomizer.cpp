#include "Random/Randomizer.h"

#include <algorithm>

namespace {

unsigned step(std::uint32_t& state) {
    constexpr std::uint32_t kIncrement = 150889;
    constexpr std::uint32_t kModulus = 714025;
    // Bits that the shift pushes out are lost, deliberately: that is no product in wider
    // arithmetic.
    state = ((state << 12) + kIncrement) % kModulus;
    return state;
}

} // namespace

template class Randomizer<unsigned>;

unsigned UnsignedLongRandomizer::getSeed() const {
    return state_;
}

unsigned UnsignedLongRandomizer::getSeed0() const {
    return state_;
}

void UnsignedLongRandomizer::setSeed(unsigned seed) {
    state_ = seed;
}

void UnsignedLongRandomizer::resetSeed() {}

unsigned UnsignedLongRandomizer::next() {
    return step(state_);
}

unsigned GenerativeRandomizer::getSeed() const {
    return state_;
}

unsigned GenerativeRandomizer::getSeed0() const {
    return seed_;
}

void GenerativeRandomizer::setSeed(unsigned seed) {
    state_ = seed_ = seed;
}

void GenerativeRandomizer::resetSeed() {
    state_ = seed_;
}

unsigned GenerativeRandomizer::next() {
    return step(state_);
}

RandomizerManager::RandomizerManager() = default;
RandomizerManager::~RandomizerManager() = default;

void RandomizerManager::add(Randomizer<unsigned>* randomizer) {
    if (randomizer != nullptr &&
        std::ranges::find(randomizers_, randomizer) == randomizers_.end()) {
        randomizers_.push_back(randomizer);
    }
}

void RandomizerManager::remove(Randomizer<unsigned>* randomizer) {
    std::erase(randomizers_, randomizer);
}

void RandomizerManager::setGenerativeSeed(unsigned seed) {
    generative_.setSeed(seed);
    for (Randomizer<unsigned>* const randomizer : randomizers_) {
        randomizer->setSeed(generative_.next());
    }
}

unsigned RandomizerManager::nextGenerativeSeed() {
    return generative_.next();
}

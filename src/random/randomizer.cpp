#include "Random/Randomizer.h"

#include <vector>

namespace {

unsigned step(std::uint32_t& state) {
    constexpr std::uint32_t kIncrement = 150889;
    constexpr std::uint32_t kModulus = 714025;
    // The shift drops the upper bits; a product in wider arithmetic would give other numbers.
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
    if (randomizer == nullptr || places_.contains(randomizer)) {
        return;
    }
    std::list<Randomizer<unsigned>*> added{randomizer};
    places_.emplace(randomizer, added.begin());
    randomizers_.splice(randomizers_.end(), added);
}

void RandomizerManager::remove(Randomizer<unsigned>* randomizer) {
    const auto place = places_.find(randomizer);
    if (place != places_.end()) {
        randomizers_.erase(place->second);
        places_.erase(place);
    }
}

void RandomizerManager::setGenerativeSeed(unsigned seed) {
    generative_.setSeed(seed);
    // A generator may remove itself, or others, when it gets its seed.
    const std::vector<Randomizer<unsigned>*> all(randomizers_.begin(), randomizers_.end());
    for (Randomizer<unsigned>* const randomizer : all) {
        if (places_.contains(randomizer)) {
            randomizer->setSeed(generative_.next());
        }
    }
}

unsigned RandomizerManager::nextGenerativeSeed() {
    return generative_.next();
}

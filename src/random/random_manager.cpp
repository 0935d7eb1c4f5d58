#include "Random/RandomManager.h"

#include "core/library_rand.h"

#include <algorithm>
#include <cstddef>

namespace {

using core::LibraryRand;

constexpr std::uint32_t kSeed = 78954602;
constexpr int kCount = 2000;
constexpr int kBins = 20;
constexpr float kThreshold = 6.0F;
constexpr int kMostDraws = 100'000;
constexpr int kTermsOfNormal = 12;

double nextUniform(LibraryRand& generator) {
    return generator.next() / static_cast<double>(LibraryRand::kMaximum);
}

void draw(RandomTable& table, LibraryRand& generator) {
    for (float& value : table) {
        value = static_cast<float>(nextUniform(generator));
    }
}

// How far the bins are from being equally full. A value of 1 belongs to the last bin.
float chiSquare(const RandomTable& table, std::vector<int>& bins) {
    std::ranges::fill(bins, 0);
    const auto binCount = static_cast<float>(bins.size());
    for (const float value : table) {
        const auto bin = static_cast<std::size_t>(binCount * value);
        ++bins[std::min(bin, bins.size() - 1)];
    }
    const float expected = static_cast<float>(table.size()) / binCount;
    float sum = 0;
    for (const int observed : bins) {
        const float difference = static_cast<float>(observed) - expected;
        sum += difference * difference / expected;
    }
    return sum;
}

// The value may be any float, because the table may be a caller's own: 0 if it is no seed.
std::uint32_t toSeed(float value) {
    constexpr float kLimit = 4294967296.0F;
    return value > 0 && value < kLimit ? static_cast<std::uint32_t>(value) : 0;
}

} // namespace

RandomManager::RandomManager()
    : uniform_(createUniform(kSeed, kCount, kBins, kThreshold)), normal_(createNormal(uniform_)) {}

RandomManager::~RandomManager() {
    // One by one, because an object's destructor may change the list.
    while (!objects_.empty()) {
        remove(objects_.front());
    }
}

void RandomManager::add(RandomObject* object) {
    if (object == nullptr || places_.contains(object)) {
        return;
    }
    std::list<RandomObject*> added{object};
    places_.emplace(object, added.begin());
    objects_.splice(objects_.end(), added);
}

void RandomManager::remove(RandomObject* object) {
    const auto place = places_.find(object);
    if (place != places_.end()) {
        objects_.erase(place->second);
        places_.erase(place);
    }
    delete object;
}

RandomTable RandomManager::createUniform(std::uint32_t seed, int count, int bins, float threshold) {
    if (count <= 0 || bins <= 0) {
        return {};
    }
    LibraryRand generator(seed);
    RandomTable table(static_cast<std::size_t>(count));
    std::vector<int> filled(static_cast<std::size_t>(bins));
    for (int i = 0; i < kMostDraws; ++i) {
        draw(table, generator);
        if (!(chiSquare(table, filled) > threshold)) {
            return table;
        }
    }
    return {};
}

RandomTable RandomManager::createNormal(const RandomTable& uniform) {
    if (uniform.empty()) {
        return {};
    }
    const float first = RandomObject(uniform, RandomObject::kUniform).get();
    LibraryRand generator(toSeed(first * static_cast<float>(LibraryRand::kMaximum)));
    RandomTable table(uniform.size());
    for (float& value : table) {
        double sum = 0;
        for (int i = 0; i < kTermsOfNormal; ++i) {
            sum += nextUniform(generator) - 0.5;
        }
        value = static_cast<float>(sum);
    }
    return table;
}

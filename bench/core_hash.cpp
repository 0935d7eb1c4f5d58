// Hashes, compared with a lower bound of their time. Each result is the next call's seed, so that
// the time from text to result is measured.
#include "Core/Hash.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>

namespace {

using DataHash = std::uint64_t (*)(const void* data, std::size_t length, std::uint32_t seed);
using StringHash = std::uint64_t (*)(const char* text, std::uint32_t seed);

constexpr std::uint32_t kMultiplier = 0x5BD1E995;

std::uint32_t wordAt(const unsigned char* bytes) {
    std::uint32_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

std::uint32_t finish(std::uint32_t hash) {
    hash ^= hash >> 13;
    hash *= kMultiplier;
    return hash ^ (hash >> 15);
}

// The least work of any implementation of the algorithm: one multiplication and one exclusive or
// for each word, each waiting for the one before it, and the final mix.
std::uint64_t chain(const void* data, std::size_t length, std::uint32_t seed) {
    std::uint32_t hash = seed ^ static_cast<std::uint32_t>(length);
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (const unsigned char* const end = bytes + length; bytes != end; bytes += 4) {
        hash = (hash * kMultiplier) ^ wordAt(bytes);
    }
    return finish(hash);
}

// The algorithm in its simplest form.
std::uint64_t loop(const void* data, std::size_t length, std::uint32_t seed) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    std::uint32_t hash = seed ^ static_cast<std::uint32_t>(length);
    while (length >= 4) {
        std::uint32_t word = wordAt(bytes);
        word *= kMultiplier;
        word ^= word >> 24;
        word *= kMultiplier;
        hash *= kMultiplier;
        hash ^= word;
        bytes += 4;
        length -= 4;
    }
    switch (length) {
    case 3:
        hash ^= std::uint32_t{bytes[2]} << 16;
        [[fallthrough]];
    case 2:
        hash ^= std::uint32_t{bytes[1]} << 8;
        [[fallthrough]];
    case 1:
        hash ^= bytes[0];
        hash *= kMultiplier;
        break;
    default:
        break;
    }
    return finish(hash);
}

// The same for a text of unknown length.
std::uint64_t textLoop(const char* text, std::uint32_t seed) {
    const std::size_t length = std::strlen(text);
    return loop(text, length, seed ^ static_cast<std::uint32_t>(length));
}

std::uint64_t call(DataHash function, const std::string& text, std::uint32_t seed) {
    return function(text.data(), text.size(), seed);
}

std::uint64_t call(StringHash function, const std::string& text, std::uint32_t seed) {
    return function(text.c_str(), seed);
}

// Calls through a pointer that the compiler cannot follow, so that all functions are really called.
template<class Function>
void measure(benchmark::State& state, Function function) {
    const std::string text(static_cast<std::size_t>(state.range(0)), 'q');
    benchmark::DoNotOptimize(function);
    std::uint32_t hash = 0;
    for (auto _ : state) {
        hash = static_cast<std::uint32_t>(call(function, text, hash));
    }
    benchmark::DoNotOptimize(hash);
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

template<class Function>
void add(const char* name, Function function) {
    benchmark::RegisterBenchmark(name, measure<Function>, function)
        ->Arg(8)
        ->Arg(64)
        ->Arg(4096)
        ->MinTime(0.1);
}

const bool added = [] {
    add("hash/chain", chain);
    add("hash/loop", loop);
    add("hash/text_loop", textLoop);
    add("hash/qz_data", QZ_hash_data);
    add("hash/qz_string", QZ_hash_string);
    return true;
}();

} // namespace

/* Small seeded generators of integers, and a manager that seeds them all from one: with the same
 * seed a whole simulation takes the same course. C++ only, for programs built by the library's
 * compiler.
 *
 * The generator: the state shifted left by 12 bits, plus 150889, modulo 714025, in 32-bit
 * arithmetic; the new state is the value. Values are below 714025. A seed of 2^20 or more loses its
 * upper bits in the first step; recordings are repeated by it.
 *
 * Threads: each object is for one thread at a time.
 */
#ifndef QZCORE_RANDOM_RANDOMIZER_H
#define QZCORE_RANDOM_RANDOMIZER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <cstdint>
#include <list>
#include <unordered_map>

/* A generator. Programs built against it call the functions by their slots: their order is fixed.
 */
template<typename T>
class Randomizer {
public:
    Randomizer() = default;
    virtual ~Randomizer() = default;

    /* The current state. */
    virtual T getSeed() const = 0;

    /* The seed that resetSeed goes back to. */
    virtual T getSeed0() const = 0;

    virtual void setSeed(T seed) = 0;
    virtual void resetSeed() = 0;

    /* The next value. */
    virtual T next() = 0;

protected:
    Randomizer(const Randomizer&) = default;
    Randomizer& operator=(const Randomizer&) = default;
};

extern template class QZ_API Randomizer<unsigned>;

/* Remembers no seed: getSeed0 is the current state, and resetSeed changes nothing. */
class QZ_API UnsignedLongRandomizer : public Randomizer<unsigned> {
public:
    explicit UnsignedLongRandomizer(unsigned seed = 0) : state_(seed) {}

    unsigned getSeed() const override;
    unsigned getSeed0() const override;
    void setSeed(unsigned seed) override;
    void resetSeed() override;
    unsigned next() override;

private:
    std::uint32_t state_;
};

/* Remembers the seed that it was given last. A copy has both, the state and the seed. */
class QZ_API GenerativeRandomizer : public Randomizer<unsigned> {
public:
    explicit GenerativeRandomizer(unsigned seed = 0) : state_(seed), seed_(seed) {}

    unsigned getSeed() const override;
    unsigned getSeed0() const override;
    void setSeed(unsigned seed) override;
    void resetSeed() override;
    unsigned next() override;

    /* Both, as another generator had them: to go on where that one stood. */
    void restore(unsigned seed, unsigned state) {
        seed_ = seed;
        state_ = state;
    }

private:
    std::uint32_t state_;
    std::uint32_t seed_;
};

/* Seeds the generators that are registered with it; they remain their owners'. */
class QZ_API RandomizerManager {
public:
    RandomizerManager();
    RandomizerManager(const RandomizerManager&) = delete;
    RandomizerManager& operator=(const RandomizerManager&) = delete;
    ~RandomizerManager();

    /* Registers a generator, at the end of the order, until `remove`. Null and one that is
     * registered already are ignored. */
    void add(Randomizer<unsigned>* randomizer);

    /* Does nothing with one that is not registered. */
    void remove(Randomizer<unsigned>* randomizer);

    /* Seeds the manager's own generator, and with its next values the registered ones, in the order
     * in which they were registered. */
    void setGenerativeSeed(unsigned seed);

    /* The next value of the manager's own generator. */
    unsigned nextGenerativeSeed();

private:
    std::list<Randomizer<unsigned>*> randomizers_; /* in the order added */
    std::unordered_map<Randomizer<unsigned>*, std::list<Randomizer<unsigned>*>::iterator> places_;
    GenerativeRandomizer generative_;
};

#endif

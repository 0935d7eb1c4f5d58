/* Small seeded generators of integers, and a manager that seeds all of them from one seed, so that
 * the same seed repeats a whole simulation. C++ only, for programs built by the library's compiler.
 *
 * The next state is the state shifted left by 12 bits, plus 150889, modulo 714025, in 32-bit
 * arithmetic. It is also the value, which is below 714025. A seed of 2^20 or more loses its upper
 * bits in the first step; this stays, because recordings depend on it.
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

/* A generator. The order of the virtual functions is fixed, because programs call them by their
 * slots. */
template<typename T>
class Randomizer {
public:
    Randomizer() = default;
    virtual ~Randomizer() = default;

    /* Returns the current state. */
    virtual T getSeed() const = 0;

    /* Returns the seed to which resetSeed goes back. */
    virtual T getSeed0() const = 0;

    virtual void setSeed(T seed) = 0;
    virtual void resetSeed() = 0;

    /* Returns the next value. */
    virtual T next() = 0;

protected:
    Randomizer(const Randomizer&) = default;
    Randomizer& operator=(const Randomizer&) = default;
};

extern template class QZ_API Randomizer<unsigned>;

/* Does not store its seed: getSeed0 returns the current state, and resetSeed does nothing. */
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

/* Stores the last seed that it was given. A copy has the same state and seed. */
class QZ_API GenerativeRandomizer : public Randomizer<unsigned> {
public:
    explicit GenerativeRandomizer(unsigned seed = 0) : state_(seed), seed_(seed) {}

    unsigned getSeed() const override;
    unsigned getSeed0() const override;
    void setSeed(unsigned seed) override;
    void resetSeed() override;
    unsigned next() override;

    /* Sets seed and state to those of another generator, to continue its sequence. */
    void restore(unsigned seed, unsigned state) {
        seed_ = seed;
        state_ = state;
    }

private:
    std::uint32_t state_;
    std::uint32_t seed_;
};

/* Seeds the generators that are registered with it. It does not own them. */
class QZ_API RandomizerManager {
public:
    RandomizerManager();
    RandomizerManager(const RandomizerManager&) = delete;
    RandomizerManager& operator=(const RandomizerManager&) = delete;
    ~RandomizerManager();

    /* Registers a generator, as the last in order, until `remove`. Null and a generator that is
     * already registered are ignored. */
    void add(Randomizer<unsigned>* randomizer);

    /* Does nothing if the generator is not registered. */
    void remove(Randomizer<unsigned>* randomizer);

    /* Seeds the manager's own generator, and then the registered ones with its next values, in the
     * order in which they were registered. */
    void setGenerativeSeed(unsigned seed);

    /* Returns the next value of the manager's own generator. */
    unsigned nextGenerativeSeed();

private:
    std::list<Randomizer<unsigned>*> randomizers_; /* in the order added */
    std::unordered_map<Randomizer<unsigned>*, std::list<Randomizer<unsigned>*>::iterator> places_;
    GenerativeRandomizer generative_;
};

#endif

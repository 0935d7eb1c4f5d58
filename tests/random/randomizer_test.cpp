#include "Random/Randomizer.h"
#include "support/test.h"

namespace {

TEST(Randomizer, StepsAsStatedAndWrapsOnce) {
    UnsignedLongRandomizer plain;
    GenerativeRandomizer generative;
    for (const unsigned expected : {150889U, 560608U, 96857U}) {
        EXPECT_EQ(plain.next(), expected);
        EXPECT_EQ(generative.next(), expected);
    }
    plain.setSeed(0xFFFFFFFF); // shifted: 0xFFFFF000; the sum passes 2^32, too
    EXPECT_EQ(plain.next(), (0xFFFFF000U + 150889U) % 714025U);
    EXPECT_EQ(plain.getSeed0(), plain.getSeed());
    plain.resetSeed();
    EXPECT_EQ(plain.getSeed(), 146793U);
}

TEST(Randomizer, TheGenerativeOneGoesBackToItsSeed) {
    GenerativeRandomizer randomizer(5);
    randomizer.setSeed(77);
    const unsigned first = randomizer.next();
    EXPECT_EQ(randomizer.getSeed(), first);
    EXPECT_EQ(randomizer.getSeed0(), 77U);
    GenerativeRandomizer copy(randomizer);
    EXPECT_EQ(copy.getSeed(), first);
    copy.resetSeed();
    EXPECT_EQ(copy.getSeed(), 77U);
    EXPECT_EQ(copy.next(), first);
}

TEST(RandomizerManager, SeedsTheRegisteredInOrder) {
    UnsignedLongRandomizer first, removed;
    GenerativeRandomizer second;
    RandomizerManager manager;
    manager.add(&first);
    manager.add(&removed);
    manager.add(&second);
    manager.add(&first);
    manager.add(nullptr);
    manager.remove(&removed);
    manager.setGenerativeSeed(0);
    EXPECT_EQ(first.getSeed(), 150889U);
    EXPECT_EQ(removed.getSeed(), 0U);
    EXPECT_EQ(second.getSeed0(), 560608U);
    EXPECT_EQ(manager.nextGenerativeSeed(), 96857U);
    struct Leaver : GenerativeRandomizer {
        RandomizerManager* manager = nullptr;
        void setSeed(unsigned) override { manager->remove(this); }
    } leaver;
    leaver.manager = &manager;
    manager.add(&leaver);
    manager.setGenerativeSeed(0); // it leaves
    manager.setGenerativeSeed(0);
    EXPECT_EQ(manager.nextGenerativeSeed(), 96857U);
}

} // namespace

// Random numbers: tables are complete and always the same, or do not exist.
#include "driver.h"

#include "Globals.h"
#include "Random/RandomManager.h"
#include "Random/Randomizer.h"

#include <new>

namespace {

constexpr float kFirst = -1;
float first = kFirst;

void readTables() {
    RandomManager* manager = nullptr;
    if (stepOrThrow<std::bad_alloc>("globalRandomManager",
                                    [&] { manager = globalRandomManager(); })) {
        whole(manager->getUniform().size() == 2000 && manager->getNormal().size() == 2000,
              "tables of other sizes");
        RandomObject object(RandomObject::kNormal, 7);
        const float value = object.get();
        holds(first == kFirst || value == first, "another table than before");
        first = value;
    }
}

void manageObjects() {
    stepOrThrow<std::bad_alloc>("RandomManager", [] {
        RandomManager manager;
        auto* const object = new RandomObject(manager.getUniform(), RandomObject::kUniform);
        if (!stepOrThrow<std::bad_alloc>("add", [&] { manager.add(object); })) {
            delete object; // it was not taken
        }
    });
    stepOrThrow<std::bad_alloc>("RandomizerManager", [] {
        RandomizerManager manager;
        GenerativeRandomizer one, two;
        manager.add(&one);
        manager.add(&two);
        manager.setGenerativeSeed(5);
        holds(one.getSeed() != two.getSeed() && one.getSeed0() != 0, "seeds");
        manager.remove(&one);
    });
}

} // namespace

void prepare() {}

void work() {
    readTables();
    manageObjects();
}

void finish() {}

// Objects that a simulation writes and other programs watch.
#include "Serial/CommonBufferizer.h"

#include "serial/saved.h"

namespace {

using Common::CommonBufferizer;
using Common::CommonSerializer;
using Common::Ref;
using Common::SerializableObject;
using Common::StateParts;

class Ferry : public SerializableObject {
public:
    explicit Ferry(const char* className = "Ferry") : SerializableObject(className) {
        all.insert(this);
    }
    ~Ferry() override {
        all.erase(this);
        deepest = std::max(deepest, ++depth);
        next = {};
        --depth;
    }

    void serialize(CommonSerializer& serializer) override {
        serializer.transferBits("speed", speed, 10);
        serializer.transfer("name", name);
        serializer.transfer("crew", crew);
        serializer.transfer("next", next);
        if (serializer.isLoading() && (areAllWrong || name == "wrong")) {
            serializer.fail("a name that must not be");
        }
    }

    // The object as text; a reference is the text of what it refers to.
    std::string text() const {
        std::string words =
            getClassIdentifier().getClassName() + ' ' + std::to_string(speed) + name;
        for (const int one : crew) {
            words += ' ' + std::to_string(one);
        }
        return words + (next ? " -> " + std::to_string(next->speed) + next->name : "");
    }

    int speed = 0;
    std::string name;
    std::vector<int> crew;
    Ref<Ferry> next;

    // Takes all references apart, because cycles would keep their objects alive.
    static void letGo() {
        const std::vector<Ref<Ferry>> held(all.begin(), all.end());
        for (const Ref<Ferry>& ferry : held) {
            ferry->next = {};
        }
    }

    static inline bool areAllWrong = false;
    static inline std::set<Ferry*> all;
    static inline int depth = 0, deepest = 0; // of destructors within each other
};

class States : public ::testing::Test {
protected:
    States() {
        factories.addFactory(new TestFactory({
            {"Ferry", [] { return new Ferry; }},
            {"Tug", [] { return new Ferry("Tug"); }},
        }));
    }

    static Ferry* of(CommonBufferizer& states, std::uint32_t number) {
        return dynamic_cast<Ferry*>(states.get(number));
    }

    static Ferry* add(CommonBufferizer& states, std::uint32_t number,
                      const char* className = "Ferry") {
        auto* const ferry = new Ferry(className);
        EXPECT_TRUE(states.add(number, Ref<SerializableObject>(ferry))) << states.getError();
        return ferry;
    }

    // The error; empty if there is none.
    static std::string read(CommonBufferizer& states, const Messages& messages) {
        return states.read(partsOf(messages)) ? "" : states.getError();
    }

    using Model = std::map<std::uint32_t, std::string>;

    static Model look(CommonBufferizer& states) {
        Model model;
        for (std::uint32_t number = 1; number < 60; ++number) {
            if (of(states, number) != nullptr) {
                model[number] = of(states, number)->text();
            }
        }
        return model;
    }

    // Lets one read what the other writes. After an error it has what it had.
    static std::string pass(CommonBufferizer& from, CommonBufferizer& to, std::uint32_t base) {
        const Model before = look(to);
        const std::size_t count = Ferry::all.size();
        const std::string error = read(to, from.write(base, 1));
        EXPECT_EQ(look(to), error.empty() ? look(from) : before);
        EXPECT_TRUE(error.empty() || Ferry::all.size() == count) << "objects are left";
        return error;
    }

    std::string pass(std::uint32_t base) { return pass(source, watcher, base); }

    struct Census {
        ~Census() { EXPECT_TRUE(Ferry::all.empty()) << "objects are left"; }
    } census; // at the end, after the others below
    Common::FactoryManager factories;
    CommonBufferizer source, watcher{factories};
};

void change(Ferry& ferry, std::mt19937& random) {
    const auto choice = random() % 4; // 3: marked without a change
    if (choice == 0) {
        ferry.speed = static_cast<int>(random() % 500);
    } else if (choice == 1) {
        ferry.name.assign(random() % 80, static_cast<char>('a' + random() % 26));
    } else if (choice == 2) {
        ferry.crew.resize(random() % 6, static_cast<int>(random() % 1000));
    }
}

void removeWithReferences(CommonBufferizer& states, std::uint32_t number) {
    for (std::uint32_t other = 1; other < 60; ++other) {
        auto* const ferry = static_cast<Ferry*>(states.get(other));
        if (ferry != nullptr && (other == number || ferry->next.get() == states.get(number))) {
            ferry->next = {};
            states.mark(other);
        }
    }
    states.remove(number);
}

// Two watchers miss states. Each gets the difference from the last state that it has, and sees the
// newest state.
TEST_F(States, AreSeenAsTheyAre) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        std::mt19937 random(seed);
        const auto any = [&] { return static_cast<std::uint32_t>(1 + random() % 50); };
        CommonBufferizer watchers[2]{CommonBufferizer(factories), CommonBufferizer(factories)};
        for (std::uint32_t step = 1; step < 60; ++step) {
            for (auto i = random() % 4; i > 0; --i) {
                const std::uint32_t number = any() % 20 + 1; // often the same number
                if (of(source, number) != nullptr) {
                    removeWithReferences(source, number);
                }
                if (random() % 4 != 0) {
                    add(source, number, random() % 2 == 0 ? "Ferry" : "Tug");
                }
            }
            for (int i = 0; i < 3; ++i) {
                const std::uint32_t some = any();
                if (Ferry* const ferry = of(source, some)) {
                    change(*ferry, random);
                    ferry->next = Ref<Ferry>(of(source, any()));
                    source.mark(some);
                }
            }
            ASSERT_EQ(seed % 2 == 0 ? source.capture() : source.captureMarked(), step)
                << source.getError();
            for (CommonBufferizer& one : watchers) {
                if (random() % 3 == 0) {
                    ASSERT_EQ(pass(source, one, one.getNumber()), "") << seed << ' ' << step;
                    ASSERT_EQ(one.getCount(), source.getCount());
                }
            }
            source.forget(std::min(watchers[0].getNumber(), watchers[1].getNumber()));
        }
        Ferry::letGo();
        source.reset();
    }
}

TEST_F(States, MayGoOnFromAnyThatWasRead) {
    add(source, 1)->name = "first";
    add(source, 2);
    source.capture();
    ASSERT_EQ(pass(0), "");
    Ferry* const same = of(watcher, 1);
    const Messages none = source.write(1, 1);
    of(source, 1)->name = "second";
    source.remove(2);
    add(source, 3);
    source.capture();
    ASSERT_EQ(pass(1), "");
    // Changed back, and written by a source that does not know that state 2 has arrived.
    of(source, 1)->name = "first";
    source.remove(3);
    source.capture();
    const Messages third = source.write(1, 1);
    ASSERT_EQ(pass(1), "");
    EXPECT_EQ(of(watcher, 1), same);
    EXPECT_EQ(read(watcher, third), "a state that is not newer than the last one");
    EXPECT_EQ(read(watcher, none), "a state that is not newer than the last one");
    ASSERT_EQ(source.capture(), 4U);
    EXPECT_LE(sizeOf(source.write(3, 1)), 36U + 3) << "nothing changed";
    ASSERT_EQ(pass(0), "") << "whole";
    EXPECT_EQ(of(watcher, 1), same);
    source.forget(4);
    ASSERT_EQ(source.capture(), 5U);
    EXPECT_EQ(sizeOf(source.write(2, 1)), sizeOf(source.write(0, 1))) << "not kept: whole";
    watcher.reset();
    ASSERT_EQ(pass(4), "a state that belongs to another base line");
    CommonBufferizer another;
    add(another, 1);
    another.capture();
    ASSERT_EQ(pass(another, watcher, 0), "");
    EXPECT_EQ(pass(0), "a state of another sender");
    StateParts parts = partsOf(another.write(0, 1));
    EXPECT_EQ(parts.add(source.write(0, 1)[0]), StateParts::Added::kOtherSender);
    EXPECT_EQ(parts.getSession(), another.getSession());
    another.reset();
    another.capture();
    EXPECT_EQ(parts.add(another.write(0, 1)[0]), StateParts::Added::kOtherSender) << "begun anew";
    parts.clear();
    EXPECT_EQ(parts.add(another.write(0, 1)[0]), StateParts::Added::kComplete);
}

TEST_F(States, ErrorsChangeNothing) {
    EXPECT_TRUE(source.write(0, 1).empty());
    EXPECT_FALSE(source.mark(1));
    EXPECT_FALSE(source.add(0, Ref<SerializableObject>(new Ferry)));
    add(source, 17)->name = "seventeen";
    EXPECT_FALSE(source.add(17, Ref<SerializableObject>(new Ferry)));
    add(source, 18);
    ASSERT_EQ(source.capture(), 1U);
    of(source, 18)->speed = 512;
    EXPECT_EQ(source.capture(), 0U);
    EXPECT_EQ(source.getError(), "object 18 (Ferry): speed: a value that does not fit its width");
    EXPECT_EQ(source.getNumber(), 1U);
    ASSERT_EQ(read(watcher, source.write(0, 1)), "");

    of(source, 17)->name = "changed";
    of(source, 18)->speed = 5;
    of(source, 18)->name = "wrong";
    add(source, 16)->next = Ref<Ferry>(add(source, 15));
    of(source, 15)->next = Ref<Ferry>(of(source, 16));
    ASSERT_EQ(source.capture(), 2U);
    EXPECT_EQ(pass(1), "object 18 (Ferry): a name that must not be");
    EXPECT_EQ(pass(0), "object 18 (Ferry): a name that must not be");

    of(source, 18)->name = "right";
    add(source, 20, "Ghost");
    ASSERT_EQ(source.capture(), 3U);
    EXPECT_EQ(pass(1), "object 20 (Ghost): no factory makes it");
    factories.addFactory(new TestFactory({{"Ghost", [&] { return of(watcher, 17); }}}));
    EXPECT_EQ(pass(1), "object 20 (Ghost): its factory has given it out before");
    source.remove(20);
    of(source, 16)->next = Ref<Ferry>(new Ferry);
    source.mark(16);
    EXPECT_EQ(source.captureMarked(), 0U);
    EXPECT_EQ(source.getError(),
              "object 16 (Ferry): next: a reference to an object that has no number");
    of(source, 16)->next = Ref<Ferry>(of(source, 17));
    ASSERT_EQ(source.captureMarked(), 4U) << "the marks are still there";
    CommonBufferizer small(factories, {.objects = 2});
    EXPECT_EQ(pass(source, small, 0), "more objects than allowed");
    EXPECT_EQ(pass(1), "");
}

// Two sides whose classes differ, where the first object shows it and where another one does.
TEST_F(States, ClassesHaveToAgree) {
    struct Lamp : SerializableObject {
        Lamp() : SerializableObject("Lamp") {}
        std::uint32_t getVersion() const override { return version; }
        void serialize(CommonSerializer& serializer) override {
            serializer.transfer(name, isOn);
            if (isOn) {
                serializer.transfer(nameWithin, isBright);
            }
        }
        std::uint32_t version = 0;
        const char *name = "isOn", *nameWithin = "isBright";
        bool isOn = false, isBright = false;
    };
    Lamp looks;
    factories.addFactory(new TestFactory({{"Lamp", [&] { return new Lamp(looks); }}}));
    const Ref<Lamp> second(new Lamp);
    source.add(1, Ref<SerializableObject>(new Lamp));
    source.add(2, Ref<SerializableObject>(second.get()));
    source.capture();
    const std::string error =
        "object 1 (Lamp): the sender's class has other values, or another version";
    looks.version = 1;
    EXPECT_EQ(pass(0), error);
    looks.version = 0;
    looks.name = "isOff";
    EXPECT_EQ(pass(0), error);
    looks.name = "isOn";
    looks.nameWithin = "isDark";
    ASSERT_EQ(pass(0), "");
    second->isOn = true;
    source.capture();
    for (const std::uint32_t base : {1U, 0U}) {
        const std::string what = pass(base);
        EXPECT_TRUE(what.ends_with("; perhaps a class differs: Lamp")) << what;
    }
}

// An object that still refers to a removed one is looked at, marked or not.
TEST_F(States, NothingRefersToWhatIsGone) {
    for (std::uint32_t number = 1; number <= 4; ++number) {
        add(source, number);
    }
    of(source, 1)->next = Ref<Ferry>(of(source, 2));
    of(source, 3)->next = Ref<Ferry>(of(source, 2));
    ASSERT_EQ(source.captureMarked(), 1U);
    ASSERT_EQ(pass(0), "");
    source.remove(2);
    add(source, 2)->name = "another";
    of(source, 3)->next = {};
    source.mark(3);
    EXPECT_EQ(source.captureMarked(), 0U);
    EXPECT_EQ(source.getError(),
              "object 1 (Ferry): next: a reference to an object that has no number");
    of(source, 1)->next = Ref<Ferry>(of(source, 2)); // the new one; object 1 is not marked
    ASSERT_EQ(source.captureMarked(), 2U) << source.getError();
    CommonBufferizer late(factories);
    EXPECT_EQ(pass(1), "");
    EXPECT_EQ(pass(source, late, 0), "");
}

// A state of one message with another number, or with bits that no sender writes.
Messages forged(const Messages& messages, std::uint32_t number, const std::string& bits = "") {
    constexpr std::size_t kNumberAt = 8, kSizeAt = 24, kSumAt = 32;
    const std::string sent = bytesOf(messages[0]);
    const std::string state = bits.empty() ? sent.substr(kHeader) : bits;
    std::string header = sent.substr(0, kSumAt);
    header.replace(kNumberAt, 4, littleEndian(number, 4));
    header.replace(kSizeAt, 4, littleEndian(state.size(), 4));
    return {messageOf(header + seededSum(header, state) + state)};
}

TEST_F(States, MayBeForged) {
    add(source, 2);
    add(source, 7)->next = Ref<Ferry>(of(source, 2));
    source.capture();
    ASSERT_EQ(pass(0), "");
    source.capture();
    EXPECT_EQ(read(watcher, forged(source.write(1, 1), 2, "\2\0\0\0"s)), // only removes object 2
              "object 2 (Ferry): it goes, and others still refer to it");
    EXPECT_EQ(look(watcher), look(source));
    ASSERT_EQ(read(watcher, forged(source.write(0, 1), 0xFFFF'FFFF)), "") << "the last number";
    EXPECT_EQ(watcher.capture(), 0U);
    EXPECT_EQ(watcher.getError(), "no number is left for a state: reset begins another session");
    watcher.reset();
    EXPECT_EQ(watcher.capture(), 1U);
}

// No object is destroyed within another's destructor, in whatever order they refer to each other.
TEST_F(States, MayBeLongChains) {
    constexpr std::uint32_t kCount = 1'000;
    const auto inZigzag = [](std::uint32_t i) { return i % 2 == 0 ? i : kCount - i; };
    Ferry::deepest = 0;
    for (const bool isBackward : {false, true}) {
        CommonBufferizer from, to(factories);
        for (std::uint32_t i = 0; i < kCount; ++i) {
            add(from, i + 1);
        }
        for (std::uint32_t i = 1; i < kCount; ++i) {
            const std::uint32_t later = isBackward ? i + 1 : 1 + inZigzag(i);
            const std::uint32_t earlier = isBackward ? i : 1 + inZigzag(i - 1);
            of(from, later)->next = Ref<Ferry>(of(from, earlier));
        }
        ASSERT_EQ(from.capture(), 1U) << from.getError();
        ASSERT_EQ(pass(from, to, 0), "");
        for (std::uint32_t i = 0; isBackward && i < kCount; ++i) {
            from.remove(i + 1);
        }
        ASSERT_EQ(from.capture(), 2U);
        ASSERT_EQ(pass(from, to, 1), "");
        from.forget(2);
        to.forget(2);
        EXPECT_EQ(Ferry::all.size(), isBackward ? 0U : 2 * kCount);
    }
    EXPECT_EQ(Ferry::deepest, 1);
}

// A read that could not be taken back leaves a chain. The next state, or the end of the watcher,
// releases it without recursion.
TEST_F(States, BreakWithoutDepth) {
    constexpr std::uint32_t kCount = 1'000;
    Ferry::deepest = 0;
    for (const bool isGoingOn : {true, false}) {
        CommonBufferizer from, other, to(factories);
        for (std::uint32_t i = 1; i <= kCount; ++i) {
            add(from, i)->next = Ref<Ferry>(i == 1 ? nullptr : of(from, i - 1));
        }
        add(other, kCount + 1);
        from.capture();
        other.capture();
        ASSERT_EQ(pass(from, to, 0), "");
        of(from, 1)->speed = 1;
        from.capture();
        Ferry::areAllWrong = true;
        EXPECT_EQ(read(to, from.write(1, 1)), "object 1 (Ferry): a name that must not be");
        Ferry::areAllWrong = false;
        EXPECT_EQ(to.getNumber(), 0U);
        EXPECT_EQ(to.getCount(), kCount);
        to.reset();
        ASSERT_EQ(isGoingOn ? pass(other, to, 0) : "", "");
    }
    EXPECT_EQ(Ferry::deepest, 1);
}

// A byte of a message may become 16 in memory, for each state that is kept.
TEST_F(States, TakeAsMuchMemoryAsAllowed) {
    CommonBufferizer small(factories, {.bytes = 16'000}), large(factories, {.bytes = 20'000});
    add(source, 1)->crew.resize(1000);
    source.capture();
    EXPECT_LT(sizeOf(source.write(0, 1)), 1100U);
    EXPECT_EQ(pass(source, small, 0), "object 1 (Ferry): crew[995]: a state that is too large");
    ASSERT_EQ(pass(source, large, 0), "");
    const auto move = [&] {
        ++of(source, 1)->speed;
        return source.capture();
    };
    while (move() < 4) { // two are kept
        ASSERT_EQ(pass(source, large, 1), "");
    }
    EXPECT_EQ(pass(source, large, 1), "a state that belongs to another base line");
    EXPECT_EQ(pass(source, large, 2), "");
}

// A class may do things in `serialize` that are forbidden there.
TEST_F(States, ClassesMayMisbehave) {
    struct Wild : SerializableObject {
        explicit Wild(const char* name = "Wild") : SerializableObject(name) {}
        void serialize(CommonSerializer& serializer) override {
            serializer.transfer("number", number);
            if (number == 1) {
                throw number;
            }
            if (states != nullptr) {
                EXPECT_FALSE(states->mark(2) || states->remove(1) || states->capture() != 0);
                states->forget(2);
            }
        }
        int number = 1;
        CommonBufferizer* states = nullptr;
    };
    Wild* const wild = new Wild;
    ASSERT_TRUE(source.add(1, Ref<SerializableObject>(wild)));
    EXPECT_EQ(source.capture(), 0U);
    EXPECT_EQ(source.getError(), "a class threw what is no std::exception");
    wild->number = 2;
    wild->states = &source;
    add(source, 2);
    EXPECT_EQ(source.captureMarked(), 0U);
    EXPECT_EQ(source.getError(),
              "object 1 (Wild): a class changes states while they are read or written");
    wild->states = nullptr;
    EXPECT_EQ(source.captureMarked(), 1U);
    EXPECT_FALSE(source.add(3, Ref<SerializableObject>(new Wild(std::string(256, 'w').c_str()))));
    EXPECT_EQ(source.getError(), "a class whose name is too long");
}

// A watcher that removes objects itself still counts them right.
TEST_F(States, WatchersMayRemove) {
    CommonBufferizer small(factories, {.objects = 4});
    for (std::uint32_t number = 1; number <= 4; ++number) {
        add(source, number);
    }
    source.capture();
    ASSERT_EQ(pass(source, small, 0), "");
    for (std::uint32_t number = 1; number <= 4; ++number) {
        small.remove(number);
        source.remove(number);
    }
    add(source, 5);
    source.captureMarked();
    ASSERT_EQ(pass(source, small, 1), "");
    EXPECT_EQ(small.getCount(), 1U);
}

TEST_F(States, CostWhatChanged) {
    for (std::uint32_t number = 1; number <= 10'000; ++number) {
        add(source, number)->name = "one that does not change";
    }
    source.capture();
    EXPECT_GT(source.write(0, 1).size(), 3U);
    ASSERT_EQ(pass(0), "");
    for (std::uint32_t number = 50; number <= 10'000; number += 50) {
        of(source, number)->speed = 7;
        source.mark(number);
    }
    source.captureMarked();
    // For each object: its number, which of four values changed, and 10 bits.
    EXPECT_LE(sizeOf(source.write(1, 1)), 36 + 3 + 200 * (8 + 4 + 10) / 8 + 1);
    ASSERT_EQ(pass(1), "");
    EXPECT_EQ(of(watcher, 10'000)->speed, 7);
}

} // namespace

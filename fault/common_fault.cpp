// Objects, state machines, text, the profiler: calls that throw for lack of memory change nothing.
#include "driver.h"

#include "Common/FSM.h"
#include "Common/Factory.h"
#include "Common/Profiler.h"
#include "Common/Text.h"
#include "Core/Watch.h"

#include <cstring>
#include <new>

namespace {

const Common::Identifier kTank(std::string("a tank with a name that needs memory of its own"));
const Common::Identifier kShip("Ship");
const std::string kText = "\xD0\xA4\xD0\xB0\xD0\xB9\xD0\xBB, a file's name of some length";
const std::string kCharset = "windows-1251";

class Units : public Common::Factory {
public:
    Units() {
        addIdentifier(kTank);
        addIdentifier(kShip);
    }
    Common::Identifiable* create(const Common::Identifier& identifier) override {
        return new Common::Identifiable(identifier);
    }
};

void makeObjects() {
    Common::FactoryManager manager;
    Common::Ref<Common::Factory> units(new Units);
    if (!stepOrThrow<std::bad_alloc>("addFactory", [&] { manager.addFactory(units.get()); })) {
        const Aside aside;
        manager.addFactory(units.get());
    }
    const Aside aside;
    for (const Common::Identifier* const name : {&kTank, &kShip}) {
        Common::Identifiable* const made = manager.createInstance(*name);
        holds(made != nullptr, "a factory that was added makes nothing");
        manager.destroyInstance(made);
    }
    manager.removeFactory(units.get());
}

class Light : public Common::FSM::Descriptor {
public:
    void load() override {
        for (std::uint32_t state = 0; state < 3; ++state) {
            addTransition(state, 1, 10 + state, (state + 1) % 3, Common::FSM::kKeepStack);
        }
        setInitialState(0);
    }
};

class Machine : public Common::FSM, public Common::FSM::SymbolRecepient {
public:
    Machine() : FSM("light") {}
    virtual ~Machine() = default;
    using FSM::onSymbol;
    int symbols = 0;

private:
    void onOutputSymbol(std::uint32_t) override { ++symbols; }
};

void runMachine() {
    Light light;
    light.load();
    Machine machine;
    machine.init(&light, &machine);
    for (int i = 0; i < 7; ++i) {
        machine.onSymbol(1);
    }
    holds(machine.getState() == 1 && machine.symbols == 7, "a state machine");
}

void convert() {
    Common::iconv_local_init(kCharset);
    const std::string local = Common::iconv_local_from_utf8(kText);
    const bool isOpen = step(local != kText, "iconv_local_init");
    const std::string back = Common::iconv_local_to_utf8(local);
    step(back == kText, "iconv_local_to_utf8");
    holds(!isOpen || local.size() == kText.size() - 4, "a conversion");
    Common::iconv_local_exit();
}

void profile() {
    Common::Profiler profiler;
    profiler.start();
    step(profiler.isRunning(), "Profiler::start");
    for (int i = 0; i < 3; ++i) {
        const Common::ProfiledFunc frame("section", profiler);
    }
    profiler.stop();
    std::uint64_t count = 0;
    profiler.visit(
        [](void* seen, const char*, const Common::Profiler::Statistics& statistics) {
            *static_cast<std::uint64_t*>(seen) += statistics.count;
        },
        &count);
    step(count == 3, "Profiler::visit");
    const bool written = profiler.writeTrace("trace.json");
    step(written, "Profiler::writeTrace");
    const Aside aside;
    const std::string trace = readFile("trace.json");
    whole(!written || (trace.starts_with('{') && trace.find_last_of('}') + 2 >= trace.size()),
          "a trace that was written");
}

void watch() {
    const auto print = [](unsigned, char* buffer, std::size_t size, void*) {
        std::strncpy(buffer, "7", size);
        return std::size_t{1};
    };
    char text[512];
    if (step(QZ_watch_set("fault", print, nullptr) == 1, "QZ_watch_set")) {
        holds(QZ_watch_get_one("fault", 0, text, sizeof text) == 1, "QZ_watch_get_one");
        holds(QZ_watch_get_all(0, text, sizeof text) > 10, "QZ_watch_get_all");
        QZ_watch_reset("fault");
    }
}

} // namespace

void prepare() {}

void work() {
    stepOrThrow<std::bad_alloc>("factories", makeObjects);
    stepOrThrow<std::bad_alloc>("FSM", runMachine);
    stepOrThrow<std::bad_alloc>("iconv", convert);
    stepOrThrow<std::bad_alloc>("Profiler::visit", profile);
    watch();
}

void finish() {}

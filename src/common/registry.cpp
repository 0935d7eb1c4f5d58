#include "common/registry.h"

#include "Common/Factory.h"
#include "Globals.h"

#include <utility>

namespace {

constinit Common::FactoryManager* theRegistry = nullptr;

Common::FactoryManager* makeRegistry() {
    Common::FactoryManager* made = nullptr;
    getRegistry(&made);
    made->release(); // the library's own reference keeps it
    return theRegistry;
}

} // namespace

void getRegistry(Common::FactoryManager** out) {
    if (theRegistry == nullptr) {
        theRegistry = new Common::FactoryManager;
        theRegistry->addRef();
    }
    theRegistry->addRef();
    *out = theRegistry;
}

Common::FactoryManager* registry = makeRegistry();

void common::releaseRegistry() {
    if (theRegistry != nullptr) {
        std::exchange(theRegistry, nullptr)->release();
    }
}

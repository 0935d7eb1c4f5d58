#include "globals/registry.h"

#include "Common/Factory.h"
#include "Globals.h"
#include "platform/compiler.h"

#include <new>
#include <utility>

namespace {

constinit Common::FactoryManager* theRegistry = nullptr;

} // namespace

constinit Common::FactoryManager* registry = nullptr;
QZ_EXPORT_BY_NAME(Common::FactoryManager*, registry);

void getRegistry(Common::FactoryManager** out) {
    if (theRegistry == nullptr) {
        theRegistry = new (std::nothrow) Common::FactoryManager;
        if (theRegistry != nullptr) {
            theRegistry->addRef();
        }
    }
    if (theRegistry != nullptr) {
        theRegistry->addRef();
    }
    *out = theRegistry;
}

void globals::makeRegistry() {
    getRegistry(&registry);
}

// Drops two references: the one that keeps the registry and the one that `registry` holds.
void globals::releaseRegistry() {
    registry = nullptr;
    if (Common::FactoryManager* const released = std::exchange(theRegistry, nullptr)) {
        released->release();
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): it does not see the counts
        released->release();
    }
}

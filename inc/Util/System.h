/* The base of a host's subsystems: something that is initialised and uninitialised. C++ only, for
 * programs built by the library's compiler.
 *
 * The class is `qz::System`, and `System` for short. Define QZ_SYSTEM_NO_SHORT_NAME before
 * including this header to have the long name alone. */
#ifndef QZCORE_UTIL_SYSTEM_H
#define QZCORE_UTIL_SYSTEM_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

namespace qz {

/* Not initialised when it is made; a copy is what the original is. Nothing happens on destruction.
 * Programs built against it call the functions by their slots: their order is fixed. Not locked. */
class System {
public:
    System() = default;
    System(const System&) = default;
    System& operator=(const System&) = default;
    virtual ~System() = default;

    /* False if it is initialised already. */
    virtual bool initialize() {
        const bool wasInitialized = initialized_;
        initialized_ = true;
        return !wasInitialized;
    }

    /* False if it is not initialised. */
    virtual bool uninitialize() {
        const bool wasInitialized = initialized_;
        initialized_ = false;
        return wasInitialized;
    }

    /* False if it is not initialised; else uninitialises it, whatever that returns, and returns
     * what initialising returns. */
    virtual bool reinitialize() {
        if (!initialized_) {
            return false;
        }
        uninitialize();
        return initialize();
    }

    virtual bool initialized() const { return initialized_; }

    /* One step of the subsystem's work; here what `initialized` returns. */
    virtual bool process() { return initialized(); }

private:
    bool initialized_ = false;
};

} // namespace qz

#ifndef QZ_SYSTEM_NO_SHORT_NAME
class QZ_API System : public qz::System {
public:
    System() = default;
    System(const System&) = default;
    System& operator=(const System&) = default;
    ~System() override;
};
#endif

#endif

/* The base of a host's subsystems, which are initialised and uninitialised. C++ only, for programs
 * built by the library's compiler.
 *
 * The class is `qz::System`, and `System` for short. Define QZ_SYSTEM_NO_SHORT_NAME before
 * including this header to have the long name only. */
#ifndef QZCORE_UTIL_SYSTEM_H
#define QZCORE_UTIL_SYSTEM_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

namespace qz {

/* A new system is not initialised; a copy has the state of the original. The destructor does not
 * uninitialise it. The order of the virtual functions is fixed, because programs call them by their
 * slots. Threads: an object is for one thread at a time. */
class System {
public:
    System() = default;
    System(const System&) = default;
    System& operator=(const System&) = default;
    virtual ~System() = default;

    /* Returns false if it is already initialised. */
    virtual bool initialize() {
        const bool wasInitialized = initialized_;
        initialized_ = true;
        return !wasInitialized;
    }

    /* Returns false if it is not initialised. */
    virtual bool uninitialize() {
        const bool wasInitialized = initialized_;
        initialized_ = false;
        return wasInitialized;
    }

    /* Returns false if it is not initialised; otherwise calls uninitialize, ignores the result, and
     * returns the result of initialize. */
    virtual bool reinitialize() {
        if (!initialized_) {
            return false;
        }
        uninitialize();
        return initialize();
    }

    virtual bool initialized() const { return initialized_; }

    /* Does one step of the subsystem's work. The base returns initialized(). */
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

/* The base of a host's subsystems: something that is initialised and uninitialised. C++ only, for
 * programs built by the library's compiler. */
#ifndef QZCORE_UTIL_SYSTEM_H
#define QZCORE_UTIL_SYSTEM_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

/* Not initialised when it is made; a copy is what the original is. Nothing happens on destruction.
 * Programs built against it call the functions by their slots: their order is fixed. Not locked. */
class QZ_API System {
public:
    System() = default;
    System(const System&) = default;
    System& operator=(const System&) = default;
    virtual ~System();

    /* False if it is initialised already. */
    virtual bool initialize();

    /* False if it is not initialised. */
    virtual bool uninitialize();

    /* False if it is not initialised; else uninitialises it, whatever that returns, and returns
     * what initialising returns. */
    virtual bool reinitialize();

    virtual bool initialized() const;

    /* One step of the subsystem's work; here what `initialized` returns. */
    virtual bool process();

private:
    bool initialized_ = false;
};

#endif

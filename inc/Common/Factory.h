/* Creating objects by class name. C++ only, for programs built by the library's compiler.
 *
 * A factory lists the names of the classes that it can make; a manager passes a request to the
 * factory that lists the name. Each module registers its factories while it is loaded:
 *
 *     class UnitFactory : public Common::Factory {
 *     public:
 *         UnitFactory() { addIdentifier("Tank"); }
 *         Common::Identifiable* create(const Common::Identifier&) override { return new Tank; }
 *     };
 *     static const Common::Registrator units(getRegistry, new UnitFactory);
 *
 *     Common::Identifiable* tank = registry->createInstance("Tank");
 *
 * Nothing here reports an error: unknown names give null or do nothing, and duplicates are ignored.
 *
 * Threads: one, normally the host's main thread.
 */
#ifndef QZCORE_COMMON_FACTORY_H
#define QZCORE_COMMON_FACTORY_H

#include "Common/Allocator.h"
#include "Common/Identifier.h"
#include "Common/SharedObject.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <string>
#include <string_view>

namespace Common {

/* Makes objects of the classes whose names it lists. Factories live on the heap: the last release
 * deletes them. */
class QZ_API Factory : public Unknown<ISharedObject> {
public:
    Factory() = default;
    Factory(const Factory&) = delete;
    Factory& operator=(const Factory&) = delete;
    ~Factory() override;

    /* Returns a new object of the class, without references, or null. */
    virtual Identifiable* create(const Identifier& identifier) = 0;

    /* Deletes the object, however many references there are. Its destructor may take and drop
     * more. Null is ignored. */
    virtual void destroyInstance(Identifiable* object);

    /* Stores the result of create in *out and adds a reference, which the caller owns. */
    void createInstance(const Identifier& identifier, Identifiable** out);

    /* Appends the identifier unless it is there. */
    void addIdentifier(const Identifier& identifier);

    void removeIdentifier(const Identifier& identifier);

    /* In the order added. */
    const qz::list<Identifier>& requestIdentifiers() const { return identifiers_; }

private:
    using Identifiers = qz::list<Identifier>;

    friend class FactoryManager;

    Identifiers identifiers_;
    qz::unordered_map<std::string_view, Identifiers::iterator> places_; /* by their texts */
    bool hasNew_ = false; /* of a manager: identifiers that the host has added */
};

/* A factory for everything that the factories added to it can make. If two of them list the same
 * identifier, the one added first makes the objects. Managers may hold managers, but not in a ring:
 * requests would go round until the stack overflows. */
class QZ_API FactoryManager : public Factory {
public:
    ~FactoryManager() override;

    /* Returns null if no factory lists the identifier. */
    Identifiable* create(const Identifier& identifier) override;

    /* Has the first factory that lists the object's class identifier destroy it. An object of an
     * unknown class is left alone. */
    void destroyInstance(Identifiable* object) override;

    /* The same as create: the object has no references, unlike that of the form with two arguments.
     */
    Identifiable* createInstance(const Identifier& identifier) { return create(identifier); }
    using Factory::createInstance;

    /* Takes references to the factory, and copies its identifiers. An identifier that the factory
     * lists later counts only after the factory was removed and added again. Null, the manager
     * itself and a factory that it already has are ignored. Throws std::bad_alloc when there is
     * no memory; nothing is added then. */
    void addFactory(Factory* factory);

    /* Releases the references, which deletes a factory that nobody else holds. Also removes the
     * identifiers that no other factory lists. Does nothing if the factory is not there. */
    void removeFactory(Factory* factory);

private:
    struct Added {
        Ref<Factory> factory;
        qz::vector<Identifier> identifiers; /* those that it listed when it was added */
    };
    using Factories = qz::list<Added>;

    QZ_LOCAL Ref<Factory> find(const Identifier& identifier) const;
    QZ_LOCAL void addMaker(const Identifier& identifier, Factory* factory);
    QZ_LOCAL void removeMaker(const Identifier& identifier, const Factory* factory);
    QZ_LOCAL void removeUnmakeable();

    Factories factories_; /* in the order added */
    qz::unordered_map<const Factory*, Factories::iterator> places_;
    qz::unordered_map<std::string, qz::vector<Ref<Factory>>> makers_; /* in the order added */
};

/* Adds a factory to a manager as long as the registrator exists. */
class QZ_API Registrator {
public:
    /* Stores the manager in *out with a reference, which the caller owns. */
    using GetManager = void (*)(FactoryManager** out);

    Registrator(GetManager getManager, Factory* factory);
    Registrator(const Registrator&) = delete;
    Registrator& operator=(const Registrator&) = delete;
    ~Registrator();

private:
    GetManager getManager_;
    Factory* factory_;
};

} // namespace Common

#endif

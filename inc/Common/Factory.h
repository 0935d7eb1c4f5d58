/* Creating objects by class name. C++ only, for programs built by the library's compiler.
 *
 * A factory says which class names it can make; a manager hands a request on to the factory that
 * declared the name. Each module registers its factories for as long as it is loaded:
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
 * Nothing here reports an error: unknown names give null or no action, duplicates are ignored.
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

    /* A new object of the class, without references, or null. */
    virtual Identifiable* create(const Identifier& identifier) = 0;

    /* Deletes the object, however many references there are. Null is ignored. */
    virtual void destroyInstance(Identifiable* object);

    /* Stores what create gives in *out and adds a reference, which is the caller's. */
    void createInstance(const Identifier& identifier, Identifiable** out);

    /* Appends the identifier unless it is there. */
    void addIdentifier(const Identifier& identifier);

    void removeIdentifier(const Identifier& identifier);

    /* In the order added. */
    const qz::list<Identifier>& requestIdentifiers() const { return identifiers_; }

private:
    using Identifiers = qz::list<Identifier>;

    Identifiers identifiers_;
    qz::unordered_map<std::string_view, Identifiers::iterator> places_; /* by their texts */
};

/* A factory for everything that the factories added to it can make. Where two of them list the same
 * identifier, the one added first makes the objects. */
class QZ_API FactoryManager : public Factory {
public:
    ~FactoryManager() override;

    /* Null if no factory lists the identifier. */
    Identifiable* create(const Identifier& identifier) override;

    /* Has the first factory that lists the object's class identifier destroy it. An object of an
     * unknown class is left alone. */
    void destroyInstance(Identifiable* object) override;

    /* The same as create: the object has no references yet, other than after the form with two
     * arguments. */
    Identifiable* createInstance(const Identifier& identifier) { return create(identifier); }
    using Factory::createInstance;

    /* Takes references to the factory, and its identifiers as they are now: what it lists later
     * counts only after it was removed and added again. Null, the manager itself and a factory that
     * is there already are ignored. Throws std::bad_alloc when there is no memory, and has added
     * nothing then. */
    void addFactory(Factory* factory);

    /* Gives the references back, which deletes a factory that nobody else holds. Identifiers that
     * no other factory lists go as well. Does nothing with a factory that was never added. */
    void removeFactory(Factory* factory);

private:
    struct Added {
        Ref<Factory> factory;
        qz::vector<Identifier> identifiers; /* those that it listed then */
    };
    using Factories = qz::list<Added>;

    QZ_LOCAL Ref<Factory> find(const Identifier& identifier) const;
    QZ_LOCAL void addMaker(const Identifier& identifier, Factory* factory);
    QZ_LOCAL void removeMaker(const Identifier& identifier, const Factory* factory);
    QZ_LOCAL void removeUnmakeable();

    Factories factories_; /* in the order added */
    qz::unordered_map<const Factory*, Factories::iterator> places_;
    qz::unordered_map<std::string, qz::vector<Ref<Factory>>> makers_; /* in that order, too */
};

/* Registers a factory for as long as it lives. */
class QZ_API Registrator {
public:
    /* Stores the manager in *out with a reference, which is the caller's. */
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

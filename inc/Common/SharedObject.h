/* Reference-counted objects and objects that know their class's name. C++ only, for programs built
 * by the library's compiler.
 *
 *     class Tank : public Common::Identifiable { ... };
 *
 *     Common::Ref<Tank> tank(new Tank);   // deleted with the last Ref
 *
 * Threads: the count is not atomic, so an object and all references to it belong to one thread. The
 * messaging classes have their own base with an atomic count (Mail/Shared.h).
 */
#ifndef QZCORE_COMMON_SHAREDOBJECT_H
#define QZCORE_COMMON_SHAREDOBJECT_H

#include "Common/Identifier.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace Common {

/* The base of reference-counted objects. An object starts with no references. Whoever needs the
 * object adds one, and releases it later. */
class QZ_API ISharedObject {
public:
    void addRef() { ++refCount; }

    /* Releases one reference. If it was the last, calls FinalRelease, by which the object's class
     * decides what becomes of the object. */
    void release() {
        if (--refCount == 0) {
            FinalRelease();
        }
    }

    std::int32_t getRefCount() const { return refCount; }

private:
    virtual void FinalRelease() = 0;

public:
    virtual ~ISharedObject();

protected:
    ISharedObject() = default;

    /* A copy is another object; its count starts at 0. */
    ISharedObject(const ISharedObject& /*other*/) {}
    // NOLINTNEXTLINE(cert-oop54-cpp): nothing is copied
    ISharedObject& operator=(const ISharedObject& /*other*/) { return *this; }

private:
    std::int32_t refCount = 0;
};

} // namespace Common

/* The base of objects that serializers write. It adds nothing to ISharedObject. */
class QZ_API Serializable : public Common::ISharedObject {
public:
    ~Serializable() override;
};

namespace Common {

/* T, for objects on the heap: the last release deletes the object, whose destructor may still take
 * and drop references to it. T is ISharedObject, Serializable or a class derived from one of them.
 */
template<typename T>
class Unknown : public T {
public:
    using T::T;

private:
    void FinalRelease() override {
        this->addRef(); // for the destructor
        delete this;
    }
};

/* T, for objects that somebody else owns, such as members and statics: references are counted, but
 * the last release does nothing. */
template<typename T>
class FakeUnknown : public T {
public:
    using T::T;

private:
    void FinalRelease() override {}
};

/* A pointer that holds a reference, or null. */
template<typename T>
class Ref {
public:
    Ref() = default;
    explicit Ref(T* object) : object_(object) {
        if (object_ != nullptr) {
            object_->addRef();
        }
    }
    Ref(const Ref& other) : Ref(other.object_) {}
    Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}

    /* From a reference to a class that descends from T. */
    template<typename U>
    requires std::convertible_to<U*, T*> Ref(const Ref<U>& other) : Ref(other.get()) {}
    template<typename U>
    requires std::convertible_to<U*, T*> Ref(Ref<U>&& other)
    noexcept : object_(std::exchange(other.object_, nullptr)) {}

    ~Ref() {
        if (object_ != nullptr) {
            object_->release();
        }
    }

    Ref& operator=(Ref other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    T* get() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }

    /* Whether both lead to the same object, or to none. */
    template<typename U>
    requires std::equality_comparable_with<T*, U*>
    bool operator==(const Ref<U>& other) const { return object_ == other.get(); }
    bool operator==(std::nullptr_t) const { return object_ == nullptr; }

private:
    template<typename U>
    friend class Ref;

    T* object_ = nullptr;
};

/* An object with a class name. It lives on the heap, unless it is a FakeUnknown<Identifiable>.
 * Serializers write objects of classes derived from SerializableObject (Serial/CommonSerializer.h).
 */
class QZ_API Identifiable : public Unknown<Serializable> {
public:
    Identifiable() = default;
    explicit Identifiable(Identifier identifier) : identifier_(std::move(identifier)) {}

    ~Identifiable() override;

    /* Replaces the stored identifier, then calls onIdentifierSet. */
    virtual void setIdentifier(const Identifier& identifier);

    virtual const Identifier& getIdentifier() const;

    /* Returns the name of the object's class, by which a factory manager finds the factory that
     * destroys the object. The base returns the stored identifier. */
    virtual const Identifier& getClassIdentifier() const;

    /* For classes with members that depend on the identifier. The base does nothing. */
    virtual void onIdentifierSet();

private:
    Identifier identifier_;
};

} // namespace Common

#endif

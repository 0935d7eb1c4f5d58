/* Reference-counted objects and objects that know their class's name. C++ only, for programs built
 * by the library's compiler.
 *
 *     class Tank : public Common::Identifiable { ... };
 *
 *     Common::Ref<Tank> tank(new Tank);   // deleted with the last Ref
 *
 * Threads: counting is ordinary arithmetic, so an object and all references to it belong to one
 * thread. The messaging classes have a base of their own, whose count is atomic.
 */
#ifndef QZCORE_COMMON_SHAREDOBJECT_H
#define QZCORE_COMMON_SHAREDOBJECT_H

#include "Common/Identifier.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <cstdint>
#include <utility>

namespace Common {

/* The base of reference-counted objects. An object starts with no references; whoever wants it to
 * stay adds one, and releases it later. */
class QZ_API ISharedObject {
public:
    void addRef() { ++refCount; }

    /* Ends the object's life in the way of its class when this was the last reference. */
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

    /* A copy is another object, with references of its own. */
    ISharedObject(const ISharedObject& /*other*/) {}
    // NOLINTNEXTLINE(cert-oop54-cpp): nothing is copied
    ISharedObject& operator=(const ISharedObject& /*other*/) { return *this; }

private:
    std::int32_t refCount = 0;
};

} // namespace Common

/* The base of objects that serializers write. It adds nothing to counting. */
class QZ_API Serializable : public Common::ISharedObject {
public:
    ~Serializable() override;
};

namespace Common {

/* T, for objects on the heap: the last release deletes them. T is ISharedObject, Serializable or a
 * class derived from one of them. */
template<typename T>
class Unknown : public T {
public:
    using T::T;

private:
    void FinalRelease() override { delete this; }
};

/* T, for objects that somebody else owns, such as members and statics: they are counted, and the
 * last release does nothing. */
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

private:
    T* object_ = nullptr;
};

/* An object with a class name; on the heap, unless it is a FakeUnknown<Identifiable>.
 * Serializers write those that derive from SerializableObject (Serial/CommonSerializer.h). */
class QZ_API Identifiable : public Unknown<Serializable> {
public:
    Identifiable() = default;
    explicit Identifiable(Identifier identifier) : identifier_(std::move(identifier)) {}

    ~Identifiable() override;

    /* Replaces the stored identifier, then calls onIdentifierSet. */
    virtual void setIdentifier(const Identifier& identifier);

    virtual const Identifier& getIdentifier() const;

    /* The name of the object's class, by which a factory manager finds the factory that destroys
     * the object. The base returns the stored identifier. */
    virtual const Identifier& getClassIdentifier() const;

    /* For classes that keep something that depends on the identifier; the base does nothing. */
    virtual void onIdentifierSet();

private:
    Identifier identifier_;
};

} // namespace Common

#endif

/* Objects that live as long as somebody refers to them. C++ only, for programs built by the
 * library's compiler.
 *
 * The count of references may change on any threads at once; a single Mem::Ptr, like any pointer,
 * belongs to one thread at a time.
 */
#ifndef QZCORE_MAIL_SHARED_H
#define QZCORE_MAIL_SHARED_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "Tasks/Sync.h"

#include <type_traits>
#include <utility>

namespace Mem {

template<class T>
class Ptr;

/* The base of what a Mem::Ptr refers to. The last Ptr to let go deletes the object, on its own
 * thread; a class whose memory comes from a pool has an `operator delete` that returns it there. An
 * object that no Ptr has taken yet has no references, and is its maker's. */
class QZ_API Shared {
public:
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

protected:
    Shared() = default;
    virtual ~Shared();

private:
    template<class T>
    friend class Ptr;

    void retain() { ++refCount_; }

    /* True if that was the last reference. Whoever holds the only one need not count down: nobody
     * else can take another. */
    bool release() { return refCount_.get() == 1 || --refCount_ == 0; }

    void destroy() { delete this; }

    Sync::Counter refCount_;
};

/* A reference to a T, which descends from Mem::Shared, or to nothing. A class that derives
 * from Mem::Shared privately declares `template<class> friend class Mem::Ptr`. */
template<class T>
class Ptr {
public:
    Ptr() = default;
    Ptr(std::nullptr_t) {}

    /* Takes a reference of its own. */
    explicit Ptr(T* object) : object_(object) { retain(); }

    Ptr(const Ptr& other) : object_(other.object_) { retain(); }
    Ptr(Ptr&& other) noexcept : object_(other.detach()) {}

    template<class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    Ptr(const Ptr<U>& other) : object_(other.get()) {
        retain();
    }

    template<class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    Ptr(Ptr<U>&& other) noexcept : object_(other.detach()) {}

    ~Ptr() { release(); }

    /* The new reference is taken before the old one is given up. */
    Ptr& operator=(Ptr other) noexcept {
        swap(other);
        return *this;
    }

    void swap(Ptr& other) noexcept { std::swap(object_, other.object_); }

    T* get() const { return object_; }
    T& operator*() const { return *object_; }
    T* operator->() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

    /* Lets go without giving the reference up: it is the caller's then. */
    T* detach() noexcept { return std::exchange(object_, nullptr); }

    /* Gives the reference up, but if it is the last one, the object is not deleted and is the
     * caller's: a chain of objects can so be taken apart in a loop. Else null. */
    T* detachIfLast() {
        T* const object = detach();
        return object != nullptr && base(object).release() ? object : nullptr;
    }

    template<class U>
    friend bool operator==(const Ptr& a, const Ptr<U>& b) {
        return a.get() == b.get();
    }
    friend bool operator==(const Ptr& a, std::nullptr_t) { return a.get() == nullptr; }

private:
    static Shared& base(T* object) { return *object; }

    void retain() {
        if (object_ != nullptr) {
            base(object_).retain();
        }
    }

    void release() {
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): it does not see the counts
        if (object_ != nullptr && base(object_).release()) {
            base(object_).destroy();
        }
    }

    T* object_ = nullptr;
};

} // namespace Mem

#endif

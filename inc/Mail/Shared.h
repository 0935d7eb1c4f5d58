/* Reference-counted objects. C++ only, for programs built by the library's compiler.
 *
 * Threads: the count is atomic, so several threads may hold references to one object. A single
 * Mem::Ptr, like any pointer, is for one thread at a time.
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

/* The base of objects that a Mem::Ptr refers to. The thread that releases the last Ptr deletes the
 * object; a class whose memory comes from a pool has an `operator delete` that returns it there.
 * Until a Ptr takes a new object, it has no references, and its maker owns it. */
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

    /* Nobody but its maker has an object without references. */
    void retain() {
        if (refCount_.get() == 0) {
            refCount_.set(1);
        } else {
            ++refCount_;
        }
    }

    /* Returns true if that was the last reference. The holder of the only reference need not count
     * down, because nobody else can take another. The count is then 1, so that a reference which
     * the destructor takes does not become the last one again. */
    bool release() {
        if (refCount_.get() != 1 && --refCount_ != 0) {
            return false;
        }
        refCount_.set(1);
        return true;
    }

    void destroy() { delete this; }

    Sync::Counter refCount_;
};

// NOLINTBEGIN(clang-analyzer-cplusplus.NewDelete): it does not see the counts
/* A reference to a T, which is derived from Mem::Shared, or null. A class that derives from
 * Mem::Shared privately declares `template<class> friend class Mem::Ptr`. */
template<class T>
class Ptr {
public:
    Ptr() = default;
    Ptr(std::nullptr_t) {}

    /* Adds a reference. */
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

    /* Becomes null without releasing the reference, which the caller then owns. */
    T* detach() noexcept { return std::exchange(object_, nullptr); }

    /* Releases the reference. If it was the last one, the object is not deleted but returned,
     * without references, and the caller owns it; otherwise returns null. With this a chain of
     * objects can be deleted in a loop. */
    T* detachIfLast() {
        T* const object = detach();
        return object != nullptr && --base(object).refCount_ == 0 ? object : nullptr;
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
        if (object_ != nullptr && base(object_).release()) {
            base(object_).destroy();
        }
    }

    T* object_ = nullptr;
};
// NOLINTEND(clang-analyzer-cplusplus.NewDelete)

} // namespace Mem

#endif

// Invariants: what is true of a structure whenever nobody is in the middle of changing it.
//
// A structure has a function check() for its own, which it calls at the end of each operation,
// under the lock of the operation. The function is inline, and used here alone: only debug and
// sanitizer builds contain it. There, too, it has to be cheap: a check looks at what the operation
// has touched, and at everything if that is little, or now and then.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace core {

#if defined(QZ_CHECK_INVARIANTS)
inline constexpr bool kChecked = true;
#else
inline constexpr bool kChecked = false;
#endif

// Ends the program if the invariant does not hold. The text names the structure and says what is
// wrong with it.
inline void invariant(bool holds, const char* whatIsWrong) {
    if (kChecked && !holds) {
        std::fprintf(stderr, "Broken invariant: %s\n", whatIsWrong);
        std::abort();
    }
}

// Calls check() when it goes out of scope, however the operation ends. It is made behind the lock,
// so that it goes before it.
template<class Check>
class AtEnd {
public:
    explicit AtEnd(Check check) : check_(std::move(check)) {}
    ~AtEnd() {
        if constexpr (kChecked) {
            check_();
        }
    }
    AtEnd(const AtEnd&) = delete;
    AtEnd& operator=(const AtEnd&) = delete;

private:
    [[no_unique_address]] Check check_;
};

// Holds a lock, and checks the structure that is under it before it lets go.
template<class Lock, class Structure>
class CheckedLock {
public:
    template<class Mutex>
    CheckedLock(Mutex& mutex, const Structure& structure) : lock_(mutex), structure_(structure) {}
    ~CheckedLock() {
        if constexpr (kChecked) {
            structure_.check();
        }
    }
    CheckedLock(const CheckedLock&) = delete;
    CheckedLock& operator=(const CheckedLock&) = delete;

private:
    Lock lock_;
    const Structure& structure_;
};

// Lets a check that walks through everything run so seldom that a change pays for one element.
class NowAndThen {
public:
    // walk() returns how many elements it has looked at.
    template<class Walk>
    void afterChange(Walk walk) {
        if (++changes_ > elements_) {
            elements_ = walk();
            changes_ = 0;
        }
    }

private:
    std::size_t changes_ = 0; // since the last walk
    std::size_t elements_ = 0;
};

} // namespace core

#include "Tasks/Sync.h"

#include "platform/thread.h"
#include "tasks/wait_line.h"

#include <new>

// The owner releases the section with a plain store. That costs half as much as a common mutex,
// which must find out in the same step whether a thread sleeps.
struct alignas(64) Sync::Futex::Section {
    tasks::Ownership owner;
    std::uint32_t nested = 0; // how often the owner has locked it beyond the first time
    tasks::WaitLine& line = tasks::WaitLine::next();
};

Sync::Futex::Futex() : section_(new (std::nothrow) Section) {}

Sync::Futex::~Futex() {
    delete section_;
}

void Sync::Futex::lock() {
    if (section_ == nullptr) {
        return;
    }
    const std::uintptr_t self = platform::currentThread();
    if (section_->owner.take(self)) {
        return;
    }
    if (section_->owner.thread.load(std::memory_order_relaxed) == self) {
        ++section_->nested;
        return;
    }
    section_->line.wait(section_->owner, self);
}

void Sync::Futex::unlock() {
    if (section_ == nullptr) {
        return;
    }
    if (section_->nested != 0) {
        --section_->nested;
        return;
    }
    tasks::Ownership* const owner = &section_->owner;
    tasks::WaitLine& line = section_->line;
    owner->thread.store(0, std::memory_order_release); // the next owner may destroy the section
    line.ended(owner);
}

bool Sync::Futex::try_lock(unsigned int) {
    lock();
    return true;
}

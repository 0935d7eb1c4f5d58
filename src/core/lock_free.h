// The algorithms of the intrusive stack and queue, inline for the library's own hot paths. The
// exported functions of Core/Atomics.h call them.
//
// Both containers lock one of their words, by storing all ones, for the two stores between which
// they would be inconsistent. Everything is written for a weakly ordered processor: what one thread
// did to an element before pushing it is visible to the thread that pops it, because the popping
// thread's acquire reads a word that the pushing thread's release wrote, or a later value written
// by threads that are ordered behind it.
#pragma once

#include "Core/Atomics.h"
#include "core/spin.h"

#include <atomic>
#include <cstdint>

namespace core {

constexpr std::uintptr_t kLockedWord = ~std::uintptr_t{0};

using AtomicWord = std::atomic_ref<std::uintptr_t>;

// The link: an element's first member, or a queue's first word.
inline AtomicWord linkOf(std::uintptr_t element) {
    return AtomicWord(*reinterpret_cast<std::uintptr_t*>(element));
}

inline std::uintptr_t wordOf(const void* pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer);
}

inline void* pointerTo(std::uintptr_t word) {
    return reinterpret_cast<void*>(word);
}

// Swaps a word to "locked" and returns what it held, or returns `unlockable` as soon as the word
// holds that.
inline std::uintptr_t lockWord(AtomicWord word, std::uintptr_t unlockable) {
    Spin spin;
    std::uintptr_t seen = word.load(std::memory_order_relaxed);
    while (seen != unlockable) {
        if (seen == kLockedWord) {
            spin.turn();
            seen = word.load(std::memory_order_relaxed);
        } else if (word.compare_exchange_weak(seen, kLockedWord, std::memory_order_acquire,
                                              std::memory_order_relaxed)) {
            break;
        }
    }
    return seen;
}

// Pushes elements that are already linked from `top` down to `bottom`, in one step.
inline void stackPushChain(QZ_atomic_stack& stack, void* top, void* bottom) {
    AtomicWord head(stack.head);
    Spin spin;
    std::uintptr_t seen = head.load(std::memory_order_relaxed);
    for (;;) {
        if (seen == kLockedWord) {
            spin.turn();
            seen = head.load(std::memory_order_relaxed);
            continue;
        }
        linkOf(wordOf(bottom)).store(seen, std::memory_order_relaxed);
        // Release: what was done to the elements is visible to whoever pops them.
        if (head.compare_exchange_weak(seen, wordOf(top), std::memory_order_release,
                                       std::memory_order_relaxed)) {
            return;
        }
    }
}

inline void stackPush(QZ_atomic_stack& stack, void* element) {
    stackPushChain(stack, element, element);
}

// The head is locked while its element is taken off, because the element's successor has to be read
// first. Without the lock another thread could pop the element, reuse and push it again between
// that read and the swap. The swap would then succeed and install a stale successor.
inline void* stackPop(QZ_atomic_stack& stack) {
    AtomicWord head(stack.head);
    const std::uintptr_t top = lockWord(head, 0);
    if (top == 0) {
        return nullptr;
    }
    // This store unlocks. Release: it hands on the successor. This thread is ordered behind the
    // successor's pusher, although it has read only what was pushed on top: each push's swap
    // continues the release sequence of the push below.
    head.store(linkOf(top).load(std::memory_order_relaxed), std::memory_order_release);
    return pointerTo(top);
}

inline void gatherInit(QZ_atomic_gather& queue) {
    AtomicWord(queue.first).store(wordOf(&queue), std::memory_order_relaxed);
    AtomicWord(queue.last).store(wordOf(&queue), std::memory_order_release);
}

// `last` is locked during a push. The thread that has taken the place behind the old last element
// must link its element there before the next producer links to that element, or the consumer could
// meet a chain with a hole. Meanwhile other producers spin, and the consumer sees the queue end at
// the old last element.
inline void gatherPush(QZ_atomic_gather& queue, void* element) {
    const std::uintptr_t pushed = wordOf(element);
    linkOf(pushed).store(wordOf(&queue), std::memory_order_relaxed);
    AtomicWord last(queue.last);
    constexpr std::uintptr_t kNever = 0; // last is never null: there is no giving up
    const std::uintptr_t oldLast = lockWord(last, kNever);
    // Into the queue's first word if it was empty. Release: hands the element to the consumer.
    linkOf(oldLast).store(pushed, std::memory_order_release);
    last.store(pushed, std::memory_order_release);
}

// Takes the only element off the tail. Returns what follows it: the queue itself on success, or the
// element that a producer has linked behind it meanwhile. A producer that has locked `last` is
// about to link, so the loop ends in both cases.
inline std::uintptr_t gatherDetachLast(QZ_atomic_gather& queue, std::uintptr_t element) {
    const std::uintptr_t end = wordOf(&queue);
    AtomicWord last(queue.last);
    Spin spin;
    for (;;) {
        std::uintptr_t expected = element;
        if (last.compare_exchange_strong(expected, end, std::memory_order_acq_rel,
                                         std::memory_order_relaxed)) {
            return end;
        }
        const std::uintptr_t next = linkOf(element).load(std::memory_order_acquire);
        if (next != end) {
            return next;
        }
        spin.turn();
    }
}

inline void* gatherPop(QZ_atomic_gather& queue) {
    const std::uintptr_t end = wordOf(&queue);
    AtomicWord first(queue.first);
    std::uintptr_t oldest = first.load(std::memory_order_acquire);
    if (oldest == end) {
        return nullptr;
    }
    std::uintptr_t next = linkOf(oldest).load(std::memory_order_acquire);
    if (next == end) {
        next = gatherDetachLast(queue, oldest);
    }
    if (next == end) {
        // The queue is empty, so a producer may store its element into `first` at any moment. Then
        // `first` stays as the producer left it.
        std::uintptr_t expected = oldest;
        first.compare_exchange_strong(expected, end, std::memory_order_relaxed,
                                      std::memory_order_relaxed);
    } else {
        // Producers write `first` only when the queue is empty: nobody else writes it now.
        first.store(next, std::memory_order_relaxed);
    }
    return pointerTo(oldest);
}

} // namespace core

#include "Core/Atomics.h"

#include "core/lock_free.h"

#include <atomic>

static_assert(std::atomic_ref<std::uintptr_t>::is_always_lock_free);

// The stored words wrap around; unsigned numbers make the results wrap around, too.
int32_t QZ_atomic_inc(int32_t* word) {
    return static_cast<int32_t>(static_cast<uint32_t>(std::atomic_ref(*word).fetch_add(1)) + 1);
}

int32_t QZ_atomic_dec(int32_t* word) {
    return static_cast<int32_t>(static_cast<uint32_t>(std::atomic_ref(*word).fetch_sub(1)) - 1);
}

uint32_t QZ_atomic_reset(uint32_t* word) {
    return std::atomic_ref(*word).exchange(0);
}

int QZ_atomic_cas_ptr(void* expected, void* desired, void** word) {
    return std::atomic_ref(*word).compare_exchange_strong(expected, desired) ? 1 : 0;
}

void QZ_atomic_full_barrier(void) {}

void QZ_atomic_read_barrier(void) {}

void QZ_atomic_write_barrier(void) {}

void QZ_atomic_stack_init(QZ_atomic_stack* stack) {
    core::AtomicWord(stack->head).store(0, std::memory_order_release);
}

void QZ_atomic_stack_push(QZ_atomic_stack* stack, void* element) {
    core::stackPush(*stack, element);
}

void* QZ_atomic_stack_pop(QZ_atomic_stack* stack) {
    return core::stackPop(*stack);
}

void QZ_atomic_stack_close(QZ_atomic_stack*) {}

void QZ_atomic_gather_init(QZ_atomic_gather* queue) {
    core::gatherInit(*queue);
}

void QZ_atomic_gather_push(QZ_atomic_gather* queue, void* element) {
    core::gatherPush(*queue, element);
}

void* QZ_atomic_gather_pop(QZ_atomic_gather* queue) {
    return core::gatherPop(*queue);
}

void QZ_atomic_gather_close(QZ_atomic_gather*) {}

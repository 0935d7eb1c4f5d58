#include "platform/fault_stack.h"

#include "platform/library.h"
#include "platform/posix/alternate_stack.h"

#include <pthread.h>
#include <sys/mman.h>

namespace platform {

namespace {

// Runs when the thread ends.
void giveBack(void* memory) {
    stack_t current;
    if (sigaltstack(nullptr, &current) == 0 && current.ss_sp == memory) {
        stack_t none{};
        none.ss_flags = SS_DISABLE;
        sigaltstack(&none, nullptr);
    }
    munmap(memory, kAlternateStackSize);
}

// Remembers each thread's memory. giveBack runs at the thread's end, so the library stays loaded.
class Keeper {
public:
    Keeper() : isMade_(pthread_key_create(&key_, giveBack) == 0) { keepLibraryLoaded(); }

    bool keep(void* memory) const { return isMade_ && pthread_setspecific(key_, memory) == 0; }

private:
    pthread_key_t key_{};
    bool isMade_;
};

bool hasAlternateStack() {
    stack_t current;
    return sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE) == 0;
}

} // namespace

bool keepStackForFaults() {
    if (hasAlternateStack()) {
        return true;
    }
    static const Keeper keeper;
    void* memory = mmap(nullptr, kAlternateStackSize, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        return false;
    }
    stack_t before;
    if (keeper.keep(memory) && useAlternateStack(memory, before)) {
        return true;
    }
    keeper.keep(nullptr);
    munmap(memory, kAlternateStackSize);
    return false;
}

} // namespace platform

#include "core/until_unload.h"

#include "core/lock_free.h"

namespace {

struct Entry {
    std::uintptr_t link;
    void* object;
    core::Deleter deleter;
};

constinit QZ_atomic_stack entries{0};

} // namespace

void core::deleteAtUnload(void* object, Deleter deleter) {
    stackPush(entries, new Entry{0, object, deleter});
}

void core::deleteObjectsAtUnload() {
    while (auto* entry = static_cast<Entry*>(stackPop(entries))) {
        entry->deleter(entry->object);
        delete entry;
    }
}

#include "mail/memory.h"

#include <new>

namespace {

// Never destroyed by itself.
union Storage {
    constexpr Storage() : unused() {}
    ~Storage() {} // NOLINT(modernize-use-equals-default): that would be a deleted one

    char unused;
    mail::Memory memory;
};

Storage storage;

[[maybe_unused]] const mail::Memory* const made = new (&storage.memory) mail::Memory;

} // namespace

Mem::PoolOf<Mail::Buffer>& Mail::Buffer::m_pool = storage.memory.buffers;
Mem::PoolOf<Mail::Chunk>& Mail::Chunk::m_pool = storage.memory.chunks;
Mem::PoolOf<Mail::MsgImpl>& Mail::MsgImpl::m_pool = storage.memory.bodies;

mail::Memory& mail::memory() {
    return storage.memory;
}

void mail::closeMemory() {
    storage.memory.~Memory();
}

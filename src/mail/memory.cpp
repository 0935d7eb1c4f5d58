#include "mail/memory.h"

#include "core/static_storage.h"

namespace {

constinit core::StaticStorage<mail::Memory> storage{};

} // namespace

Mem::PoolOf<Mail::Buffer>& Mail::Buffer::m_pool = reinterpret_cast<mail::Memory&>(storage).buffers;
Mem::PoolOf<Mail::Chunk>& Mail::Chunk::m_pool = reinterpret_cast<mail::Memory&>(storage).chunks;
Mem::PoolOf<Mail::MsgImpl>& Mail::MsgImpl::m_pool = reinterpret_cast<mail::Memory&>(storage).bodies;

mail::Memory& mail::memory() {
    return storage.object();
}

void mail::openMemory() {
    storage.make();
}

void mail::closeMemory() {
    storage.destroy();
}

// The memory that all messages of the process share.
#pragma once

#include "Mail/Chunk.h"
#include "Mail/Message.h"
#include "Mail/Pool.h"
#include "mail/space.h"

namespace mail {

struct Memory {
    Mem::PoolOf<Mail::Buffer> buffers{1024};
    Mem::Pool bufferData{Mail::Buffer::kCapacity, 64};
    Mem::PoolOf<Mail::Chunk> chunks{1024};
    Mem::PoolOf<Mail::MsgImpl> bodies{1024};
    // Declared last, so destroyed first: both hold chunks.
    Mail::FreshSpace fresh;
    Mail::SpareSpace spare;
};

Memory& memory();

// Makes the memory. src/library.cpp calls this once for each load, before anybody can use messages.
void openMemory();

// Gives the memory back. src/library.cpp calls this when the library is unloaded from a process
// that goes on. It does not call it at the end of the process, because other threads and a host's
// static objects may still use their messages then.
void closeMemory();

} // namespace mail

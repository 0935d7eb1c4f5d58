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
    // These hold chunks, so they go first.
    Mail::FreshSpace fresh;
    Mail::SpareSpace spare;
};

Memory& memory();

// Makes all of it, once for each load: src/library.cpp does that before anybody can use messages.
void openMemory();

// Gives all of it back, for src/library.cpp: when the library is unloaded from a process that goes
// on, and not when the process ends, because other threads and a host's static objects may still
// use their messages then.
void closeMemory();

} // namespace mail

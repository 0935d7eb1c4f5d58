// Chains of chunks as plain bytes.
#pragma once

#include "Mail/Stream.h"
#include "support/test.h"

namespace qz::test {

using ChunkPtr = Mem::Ptr<Mail::Chunk>;

inline ChunkPtr chainOf(const std::string& data) {
    return Mail::ByteWriter().putData(data.data(), data.size()).end();
}

inline std::string bytesOf(const ChunkPtr& chain) {
    std::string result;
    for (const Mail::Chunk* chunk = chain.get(); chunk != nullptr; chunk = chunk->next().get()) {
        result.append(chunk->begin(), chunk->end());
    }
    return result;
}

// Makes the protected functions accessible.
struct Parts : Mail::Chunk {
    using Part = ChunkPtr (Mail::Chunk::*)(std::uint64_t) const;
    static inline const Part kHead = &Parts::head;
    static inline const Part kTail = &Parts::tail;
    static inline const Part kBefore = &Parts::rbefore;
    static inline const Part kAfter = &Parts::rafter;
};

inline ChunkPtr part(Parts::Part which, const ChunkPtr& chain, std::uint64_t n) {
    return ((*chain).*which)(n);
}

} // namespace qz::test

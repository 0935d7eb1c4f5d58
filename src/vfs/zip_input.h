// The bytes of an archive, wherever PhysicsFS has it from.
#pragma once

#include <physfs.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace vfs {

struct IoDestroyer {
    void operator()(PHYSFS_Io* io) const { io->destroy(io); }
};
using Io = std::unique_ptr<PHYSFS_Io, IoDestroyer>;

// False unless all of it was read.
bool readAt(PHYSFS_Io& io, std::uint64_t position, void* buffer, std::size_t size);

// A run of an archive's bytes, read ahead into a buffer. Throws std::bad_alloc when it is made.
class ZipInput {
public:
    ZipInput(PHYSFS_Io& io, std::size_t room) : io_(io), buffer_(room) {}

    // Of the next byte, and behind the last one that may be read. The second keeps what was read
    // ahead.
    void setRun(std::uint64_t position, std::uint64_t end);
    void setEnd(std::uint64_t end);

    std::uint64_t position() const { return position_; }

    // The next bytes: at least `least`, which must fit into the buffer, or none if the run has no
    // more or reading fails. They stay valid until the next call.
    std::span<const std::uint8_t> peek(std::size_t least);

    // Over any number of bytes; those behind the run's end are none that can be read.
    void skip(std::uint64_t size);

    // False unless all of it was read. What exceeds the buffer is read past it.
    bool read(void* to, std::size_t size);

private:
    std::size_t copyBuffered(std::uint8_t* to, std::size_t size);

    PHYSFS_Io& io_;
    std::vector<std::uint8_t> buffer_;
    std::size_t begin_ = 0; // of what is in the buffer and was not taken yet
    std::size_t end_ = 0;
    std::uint64_t position_ = 0;
    std::uint64_t runEnd_ = 0;
};

} // namespace vfs

// Reads the bytes of an archive through PhysicsFS.
#pragma once

#include <physfs.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace vfs {

// False unless all `size` bytes were read.
bool readAt(PHYSFS_Io& io, std::uint64_t position, void* buffer, std::size_t size);

// Reads a run of an archive's bytes, ahead into a buffer. The constructor throws std::bad_alloc.
class ZipInput {
public:
    ZipInput(PHYSFS_Io& io, std::size_t room) : io_(io), buffer_(room) {}

    // `position` is that of the next byte; `end` is behind the last byte that may be read. setEnd
    // keeps the bytes read ahead.
    void setRun(std::uint64_t position, std::uint64_t end);
    void setEnd(std::uint64_t end);

    std::uint64_t position() const { return position_; }

    // The next bytes: at least `least`, which must fit into the buffer. None if the run has fewer
    // or reading fails. They stay valid until the next call.
    std::span<const std::uint8_t> peek(std::size_t least);

    // Whether the source failed, and not only the run ended, since the last setRun.
    bool hasFailed() const { return hasFailed_; }

    // Skips any number of bytes, even past the end of the run, where none can be read.
    void skip(std::uint64_t size);

    // False unless all `size` bytes were read. Reads a large rest directly, not through the buffer.
    bool read(void* to, std::size_t size);

private:
    std::size_t copyBuffered(std::uint8_t* to, std::size_t size);

    PHYSFS_Io& io_;
    std::vector<std::uint8_t> buffer_;
    std::size_t begin_ = 0; // of the bytes in the buffer that were not taken yet
    std::size_t end_ = 0;
    std::uint64_t position_ = 0;
    std::uint64_t runEnd_ = 0;
    bool hasFailed_ = false;
};

} // namespace vfs

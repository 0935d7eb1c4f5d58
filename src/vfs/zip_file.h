// Reads a file of a zip archive, and checks it.
#pragma once

#include "vfs/zip_index.h"
#include "vfs/zip_input.h"

#define ZLIB_CONST // zlib leaves what it unpacks as it is
#include <zlib.h>

#include <cstddef>
#include <cstdint>

namespace vfs {

// For one thread at a time. Opened again it saves what opening costs.
class ZipFile {
public:
    // Has the source, a view of the archive, for itself. Throws std::bad_alloc.
    explicit ZipFile(Io source);
    ~ZipFile();
    ZipFile(const ZipFile&) = delete;
    ZipFile& operator=(const ZipFile&) = delete;

    // What fails says why; null is success. The entry must be one that can be read, and its data
    // end at `dataEnd` at the latest. Opening fails if the file is empty and its sum is not 0.
    // Reading fails unless there are so many bytes left, and at the end of a file that was read
    // from its beginning on and has not the sum that it should have.
    const char* open(const ZipEntry& entry, std::uint64_t dataEnd);
    const char* read(void* to, std::size_t count);

    // Not behind the end.
    void seek(std::uint64_t position) { position_ = position; }

    std::uint64_t position() const { return position_; }
    std::uint64_t size() const { return entry_.size; }

private:
    const char* begin();
    const char* moveTo(std::uint64_t position);
    const char* produce(std::uint8_t* to, std::size_t count);
    const char* unpack(std::uint8_t* to, std::size_t count);

    Io source_;
    ZipInput input_;
    z_stream inflater_{};
    bool hasInflater_ = false;
    ZipEntry entry_;
    std::uint64_t data_ = 0; // where in the archive they begin
    std::uint64_t position_ = 0;
    std::uint64_t produced_ = 0; // the position of what comes next
    std::uint64_t summed_ = 0;   // how much of the file is in the sum
    std::uint32_t sum_ = 0;
};

} // namespace vfs

// Reads a file of a zip archive and checks its data.
#pragma once

#include "vfs/archive_io.h"
#include "vfs/zip_index.h"
#include "vfs/zip_input.h"

#define ZLIB_CONST // zlib takes its input as const
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vfs {

// For one thread at a time. An object can be opened again for another file, which is cheaper than
// to make a new one.
class ZipFile {
public:
    // Owns the source, a view of the archive. Throws std::bad_alloc.
    explicit ZipFile(Io source);
    ~ZipFile();
    ZipFile(const ZipFile&) = delete;
    ZipFile& operator=(const ZipFile&) = delete;

    // Both return null, or why they failed. The entry must be readable. Opening fails if the data
    // does not lie before `dataEnd` behind a header with the entry's name, or if the file is empty
    // and its sum is not 0. Reading fails if fewer than `count` bytes are left, and at the end of a
    // file that was read from its beginning and does not have the right sum.
    const char* open(const ZipEntry& entry, std::string_view name, std::uint64_t dataEnd);
    const char* read(void* to, std::size_t count);

    // The position must not be past the end.
    void seek(std::uint64_t position) { position_ = position; }

    std::uint64_t position() const { return position_; }
    std::uint64_t size() const { return entry_.size; }

private:
    bool isNext(std::string_view name);
    const char* begin();
    const char* moveTo(std::uint64_t position);
    const char* produce(std::uint8_t* to, std::size_t count);
    const char* unpack(std::uint8_t* to, std::size_t count);

    Io source_;
    ZipInput input_;
    z_stream inflater_{};
    bool hasInflater_ = false;
    ZipEntry entry_;
    std::uint64_t data_ = 0; // the position of the entry's data in the archive
    std::uint64_t position_ = 0;
    bool hasFailed_ = false;     // the last read; the next one begins anew
    std::uint64_t produced_ = 0; // the position in the file of the next byte to be produced
    std::uint64_t summed_ = 0;   // how many bytes of the file are in the sum
    std::uint32_t sum_ = 0;
};

} // namespace vfs

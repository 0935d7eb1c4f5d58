#include "Mail/Stream.h"
#include "mail/memory.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Mail {

ByteWriter::ByteWriter() {
    takeRegion();
}

ByteWriter::~ByteWriter() {
    giveBackRest();
}

ByteWriter& ByteWriter::putData(const void* data, std::uint64_t n) {
    const auto* from = static_cast<const unsigned char*>(data);
    while (n != 0 && prepare()) {
        const auto count = std::min(n, static_cast<std::uint64_t>(end_ - cursor_));
        std::memcpy(cursor_, from, count);
        cursor_ += count;
        from += count;
        n -= count;
    }
    return *this;
}

ByteWriter& ByteWriter::putInt(int value, std::uint64_t nbytes) {
    const auto bits = static_cast<unsigned>(value);
    for (std::uint64_t i = std::min<std::uint64_t>(nbytes, sizeof value); i != 0; --i) {
        if (prepare()) {
            *cursor_++ = static_cast<unsigned char>(bits >> (i - 1) * 8);
        }
    }
    return *this;
}

Mem::Ptr<Chunk> ByteWriter::end() {
    keepWritten();
    giveBackRest();
    Mem::Ptr<Chunk> result = chain_.take();
    close();
    return result;
}

bool ByteWriter::nextRegion() {
    if (!buffer_) {
        return false;
    }
    keepWritten();
    if (buffer_) {
        takeRegion();
    }
    return static_cast<bool>(buffer_);
}

void ByteWriter::takeRegion() {
    Region region = mail::memory().spare.take();
    if (!region.buffer) {
        close();
        return;
    }
    buffer_ = std::move(region.buffer);
    start_ = cursor_ = region.begin;
    end_ = region.end;
}

void ByteWriter::keepWritten() {
    if (cursor_ == start_) {
        return;
    }
    Mem::Ptr<Chunk> written = Chunk::m_pool.make(buffer_, start_, cursor_);
    if (!written) {
        close();
        return;
    }
    kept_ += written->size();
    chain_.append(std::move(written));
    start_ = cursor_;
}

// Leaves the writer without its buffer, so this is the last use of the region.
void ByteWriter::giveBackRest() {
    if (cursor_ != end_) {
        mail::memory().spare.giveBack({std::move(buffer_), cursor_, end_});
    }
}

// Drops what was written so far: a part of it is of no use.
void ByteWriter::close() {
    chain_.take();
    kept_ = 0;
    buffer_ = nullptr;
    start_ = cursor_ = end_ = nullptr;
}

} // namespace Mail

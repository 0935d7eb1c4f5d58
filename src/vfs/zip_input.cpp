#include "vfs/zip_input.h"

#include <algorithm>
#include <cstring>

namespace vfs {

bool readAt(PHYSFS_Io& io, std::uint64_t position, void* buffer, std::size_t size) {
    if (io.seek(&io, position) == 0) {
        return false;
    }
    auto* const bytes = static_cast<std::uint8_t*>(buffer);
    for (std::size_t done = 0; done < size;) {
        // The system may read less at a time than it is asked for.
        const PHYSFS_sint64 count = io.read(&io, bytes + done, size - done);
        if (count <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

void ZipInput::setRun(std::uint64_t position, std::uint64_t end) {
    begin_ = end_ = 0;
    position_ = position;
    runEnd_ = end;
    hasFailed_ = false;
}

void ZipInput::setEnd(std::uint64_t end) {
    runEnd_ = end;
    const std::uint64_t left = position_ < end ? end - position_ : 0;
    end_ = begin_ + static_cast<std::size_t>(std::min<std::uint64_t>(end_ - begin_, left));
}

std::span<const std::uint8_t> ZipInput::peek(std::size_t least) {
    const std::size_t kept = end_ - begin_;
    if (kept < least) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, kept);
        begin_ = 0;
        end_ = kept;
        const std::uint64_t from = position_ + kept;
        const std::uint64_t left = from < runEnd_ ? runEnd_ - from : 0;
        const auto count =
            static_cast<std::size_t>(std::min<std::uint64_t>(buffer_.size() - kept, left));
        hasFailed_ = kept + count >= least && !readAt(io_, from, buffer_.data() + kept, count);
        if (kept + count < least || hasFailed_) {
            return {};
        }
        end_ += count;
    }
    return {buffer_.data() + begin_, end_ - begin_};
}

void ZipInput::skip(std::uint64_t size) {
    position_ += size;
    const std::size_t kept = end_ - begin_;
    begin_ += size < kept ? static_cast<std::size_t>(size) : kept;
}

std::size_t ZipInput::copyBuffered(std::uint8_t* to, std::size_t size) {
    const std::size_t count = std::min(size, end_ - begin_);
    std::memcpy(to, buffer_.data() + begin_, count);
    skip(count);
    return count;
}

bool ZipInput::read(void* to, std::size_t size) {
    auto* const bytes = static_cast<std::uint8_t*>(to);
    const std::size_t buffered = copyBuffered(bytes, size);
    const std::size_t rest = size - buffered;
    if (rest >= buffer_.size()) {
        if (rest > runEnd_ - std::min(position_, runEnd_) ||
            !readAt(io_, position_, bytes + buffered, rest)) {
            return false;
        }
        position_ += rest;
        return true;
    }
    return rest == 0 || (!peek(rest).empty() && copyBuffered(bytes + buffered, rest) == rest);
}

} // namespace vfs

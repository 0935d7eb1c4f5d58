#include "vfs/zip_file.h"

#include "vfs/crc32.h"
#include "vfs/zip_records.h"

#include <algorithm>
#include <utility>

namespace vfs {

namespace {

// A small file and its header are read in one call.
constexpr std::size_t kReadAhead = 32 << 10;
constexpr std::uint64_t kExpectedHeader = 512; // with the name; a longer one takes another read

// A piece is summed while it is still in the processor's cache.
constexpr std::size_t kPiece = 256 << 10;

constexpr char kMisplaced[] = "its data is not where the archive says";
constexpr char kUnreadable[] = "its data cannot be read";
constexpr char kDamaged[] = "its data is damaged";
constexpr char kWrongSum[] = "its check sum does not match";
constexpr char kNoMemory[] = "there is no memory to unpack it";

constexpr int kBareDeflate = -MAX_WBITS;

} // namespace

ZipFile::ZipFile(Io source) : source_(std::move(source)), input_(*source_, kReadAhead) {}

ZipFile::~ZipFile() {
    if (hasInflater_) {
        inflateEnd(&inflater_);
    }
}

const char* ZipFile::open(const ZipEntry& entry, std::string_view name, std::uint64_t dataEnd) {
    entry_ = entry;
    position_ = 0;
    hasFailed_ = false;
    const std::uint64_t likelyEnd = entry.header + kExpectedHeader + entry.packed;
    input_.setRun(entry.header, std::min(likelyEnd, dataEnd));
    const zip::Bytes start = input_.peek(zip::LocalHeader::kSize);
    if (start.empty()) {
        return kUnreadable;
    }
    zip::LocalHeader header;
    std::copy_n(start.begin(), zip::LocalHeader::kSize, header.bytes.begin());
    const std::uint64_t behindFixed = zip::kLocalName.of(header) + zip::kLocalExtra.of(header);
    data_ = entry.header + zip::LocalHeader::kSize + behindFixed;
    if (!header.hasSignature(zip::kLocalSignature) || data_ > dataEnd ||
        entry.packed > dataEnd - data_) {
        return kMisplaced;
    }
    input_.setEnd(data_ + entry.packed);
    input_.skip(zip::LocalHeader::kSize);
    if (zip::kLocalName.of(header) != name.size() || !isNext(name)) {
        return kMisplaced;
    }
    input_.skip(behindFixed);
    return entry.size == 0 && entry.sum != 0 ? kWrongSum : begin();
}

// Whether the name comes next. In an archive of DOS it may have other separators.
bool ZipFile::isNext(std::string_view name) {
    const zip::Bytes bytes = input_.peek(name.size());
    return bytes.size() >= name.size() &&
           std::equal(name.begin(), name.end(), bytes.begin(), [](char letter, std::uint8_t byte) {
               return static_cast<std::uint8_t>(letter) == byte || (letter == '/' && byte == '\\');
           });
}

// Prepares for reading from the beginning of the data.
const char* ZipFile::begin() {
    produced_ = summed_ = 0;
    sum_ = 0;
    if (entry_.content == ZipContent::stored) {
        return nullptr;
    }
    hasInflater_ = hasInflater_ ? inflateReset(&inflater_) == Z_OK
                                : inflateInit2(&inflater_, kBareDeflate) == Z_OK;
    return hasInflater_ ? nullptr : kNoMemory;
}

const char* ZipFile::read(void* to, std::size_t count) {
    if (count > entry_.size - position_) {
        return kUnreadable;
    }
    auto* const bytes = static_cast<std::uint8_t*>(to);
    const char* failure = moveTo(position_);
    for (std::size_t done = 0; done < count && failure == nullptr;) {
        const std::size_t piece = std::min(count - done, kPiece);
        failure = produce(bytes + done, piece);
        done += piece;
    }
    hasFailed_ = failure != nullptr;
    position_ = hasFailed_ ? position_ : produced_;
    return failure;
}

const char* ZipFile::moveTo(std::uint64_t position) {
    const bool isStored = entry_.content == ZipContent::stored;
    const char* failure = nullptr;
    if (hasFailed_ || position < produced_ || (isStored && position > produced_)) {
        const std::uint64_t from = isStored ? position : 0;
        input_.setRun(data_ + from, data_ + entry_.packed);
        failure = begin();
        produced_ = from;
    }
    std::uint8_t passedOver[4096];
    while (produced_ < position && failure == nullptr) {
        failure = produce(passedOver, static_cast<std::size_t>(std::min<std::uint64_t>(
                                          position - produced_, sizeof passedOver)));
    }
    return failure;
}

const char* ZipFile::produce(std::uint8_t* to, std::size_t count) {
    if (entry_.content == ZipContent::deflated) {
        if (const char* const failure = unpack(to, count)) {
            return failure;
        }
    } else if (!input_.read(to, count)) {
        return kUnreadable;
    }
    if (summed_ == produced_) {
        sum_ = updateCrc32(sum_, to, count);
        summed_ += count;
    }
    produced_ += count;
    return summed_ == entry_.size && sum_ != entry_.sum ? kWrongSum : nullptr;
}

const char* ZipFile::unpack(std::uint8_t* to, std::size_t count) {
    inflater_.next_out = to;
    inflater_.avail_out = static_cast<uInt>(count);
    while (inflater_.avail_out > 0) {
        const zip::Bytes packed = input_.peek(1);
        if (packed.empty()) {
            return input_.hasFailed() ? kUnreadable : kDamaged;
        }
        // If all is unpacked at once, the inflater need not keep a window of it.
        const bool isAll = count == entry_.size && packed.size() == entry_.packed;
        const uInt left = inflater_.avail_out;
        inflater_.next_in = packed.data();
        inflater_.avail_in = static_cast<uInt>(packed.size());
        const int result = inflate(&inflater_, isAll ? Z_FINISH : Z_NO_FLUSH);
        const std::size_t taken = packed.size() - inflater_.avail_in;
        input_.skip(taken);
        if (result == Z_MEM_ERROR) {
            return kNoMemory;
        }
        const bool goesOn =
            (result == Z_OK || result == Z_BUF_ERROR) && (taken > 0 || inflater_.avail_out < left);
        if (inflater_.avail_out > 0 && !goesOn) {
            return kDamaged;
        }
    }
    return nullptr;
}

} // namespace vfs

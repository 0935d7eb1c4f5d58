#include "vfs/zip_check.h"

#include "VFS/File.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace vfs {

namespace {

struct Closer {
    void operator()(VFS_File* file) const { VFS_close(file); }
};
using File = std::unique_ptr<VFS_File, Closer>;

// The records of the format, by their sizes without what follows them; the numbers in the functions
// below are the offsets of their fields.
template<std::size_t size>
using Record = std::array<std::uint8_t, size>;
using Entry = Record<46>;
using End = Record<22>;
using End64 = Record<56>;
using Locator64 = Record<20>;
using ExtraField = Record<4>;

constexpr std::string_view kEntrySignature = "PK\1\2";
constexpr std::string_view kEndSignature = "PK\5\6";
constexpr std::string_view kEnd64Signature = "PK\6\6";
constexpr std::string_view kLocator64Signature = "PK\6\7";

// More than the end record and the longest comment behind it.
constexpr std::size_t kTailSize = 66'000;

// PhysicsFS keeps a record for each level of each name, and recurses through them.
constexpr std::size_t kMaxNameLength = 1024;
constexpr std::size_t kMaxNameDepth = 64;
// Records that it may look at while it mounts an archive: that takes it some seconds.
constexpr std::uint64_t kMaxSteps = std::uint64_t{1} << 28;

constexpr std::uint64_t kIsInExtraField = 0xFFFFFFFF;
constexpr std::uint64_t kExtra64 = 1;
constexpr std::uint64_t kStored = 0;
// Two bits are the least that deflate spends on 258 bytes.
constexpr std::uint64_t kBestDeflation = 1032;

constexpr std::uint64_t kDos = 0; // the system that an entry was made on
constexpr std::uint64_t kUnixTypeMask = 0170000;
constexpr std::uint64_t kUnixSymbolicLink = 0120000;

class Archive {
public:
    explicit Archive(const char* path)
        : file_(VFS_open_read(path))
        , size_(file_ ? static_cast<std::uint64_t>(VFS_getsize(file_.get())) : 0) {}

    std::uint64_t size() const { return size_; }

    bool read(std::uint64_t position, void* buffer, std::size_t count) const {
        return position <= size_ && count <= size_ - position &&
               VFS_seek(file_.get(), static_cast<std::int64_t>(position)) != 0 &&
               VFS_read(file_.get(), buffer, count) == count;
    }

    template<std::size_t size>
    bool read(std::uint64_t position, Record<size>& record) const {
        return read(position, record.data(), size);
    }

    template<std::size_t size>
    bool read(std::uint64_t position, Record<size>& record, std::string_view signature) const {
        return read(position, record) &&
               std::equal(signature.begin(), signature.end(), record.begin());
    }

private:
    File file_;
    std::uint64_t size_;
};

template<std::size_t size>
std::uint64_t number(const Record<size>& record, std::size_t offset, std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t index = width; index-- > 0;) {
        value = value << 8 | record[offset + index];
    }
    return value;
}

// The last end record, as PhysicsFS finds it: never at the very start of the file.
std::optional<std::uint64_t> findEnd(const Archive& archive) {
    std::array<char, kTailSize> tail;
    const auto length =
        static_cast<std::size_t>(std::min<std::uint64_t>(archive.size(), kTailSize));
    const std::uint64_t start = archive.size() - length;
    if (!archive.read(start, tail.data(), length)) {
        return std::nullopt;
    }
    const std::size_t found = std::string_view(tail.data(), length).rfind(kEndSignature);
    if (found == std::string_view::npos || start + found == 0) {
        return std::nullopt;
    }
    return start + found;
}

// The directory: where its first entry is, and how many entries there are.
struct Directory {
    std::uint64_t position;
    std::uint64_t entries;
    bool is64;
};

std::optional<Directory> readDirectory64(const Archive& archive, const Locator64& locator,
                                         std::uint64_t locatorPosition) {
    if (locatorPosition == 0) {
        return std::nullopt; // nothing that it could locate is in front of it
    }
    const std::uint64_t stated = number(locator, 8, 8);
    std::uint64_t position = stated;
    End64 end;
    // With data in front of the archive it is not where it says but where it must be.
    if (!archive.read(position, end, kEnd64Signature)) {
        if (locatorPosition < end.size() || stated > locatorPosition - end.size()) {
            return std::nullopt;
        }
        position = locatorPosition - end.size();
        if (!archive.read(position, end, kEnd64Signature)) {
            return std::nullopt;
        }
    }
    const std::uint64_t first = number(end, 48, 8);
    if (first > archive.size()) {
        return std::nullopt;
    }
    return Directory{first + (position - stated), number(end, 32, 8), true};
}

std::optional<Directory> readDirectory(const Archive& archive) {
    const std::optional<std::uint64_t> position = findEnd(archive);
    End end;
    if (!position || !archive.read(*position, end)) {
        return std::nullopt;
    }
    Locator64 locator;
    if (*position >= locator.size() &&
        archive.read(*position - locator.size(), locator, kLocator64Signature)) {
        return readDirectory64(archive, locator, *position - locator.size());
    }
    const std::uint64_t size = number(end, 12, 4);
    if (number(end, 16, 4) + size > *position) {
        return std::nullopt;
    }
    return Directory{*position - size, number(end, 10, 2), false};
}

struct Sizes {
    std::uint64_t packed;
    std::uint64_t unpacked;
};

// Where the numbers of a zip64 entry are. Fields in front of them must lie within the extra data:
// PhysicsFS would take those that do not for a way to other entries.
std::optional<std::uint64_t> findExtra64(const Archive& archive, std::uint64_t position,
                                         std::uint64_t length) {
    ExtraField field;
    const std::uint64_t end = position + length;
    while (end - position > field.size() && archive.read(position, field)) {
        position += field.size();
        const std::uint64_t fieldSize = number(field, 2, 2);
        if (fieldSize > end - position) {
            return std::nullopt;
        }
        if (number(field, 0, 2) == kExtra64) {
            return position;
        }
        position += fieldSize;
    }
    return std::nullopt;
}

bool readSizes64(const Archive& archive, std::uint64_t position, std::uint64_t length,
                 Sizes& sizes) {
    std::optional<std::uint64_t> next = findExtra64(archive, position, length);
    if (!next) {
        return false;
    }
    for (std::uint64_t* size : {&sizes.unpacked, &sizes.packed}) {
        if (*size == kIsInExtraField) {
            Record<8> value;
            if (!archive.read(*next, value)) {
                return false;
            }
            *size = number(value, 0, value.size());
            *next += value.size();
        }
    }
    return true;
}

bool isPlausible(const Sizes& sizes, std::uint64_t method, const Archive& archive) {
    const std::uint64_t growth = method == kStored ? 1 : kBestDeflation;
    return sizes.packed <= archive.size() && sizes.unpacked <= sizes.packed * growth;
}

// What PhysicsFS makes of the names. It has their records in lists, by a hash, and follows one to
// its end for each record that is new, so that the time grows with the square of their number, or
// with more if names are chosen to that end.
class Names {
public:
    // False if the name is no sound one, or with it there are too many.
    bool add(std::string_view name) {
        std::size_t depth = 0;
        std::uint32_t hash = 5381;
        const std::size_t known = commonLength(name);
        for (std::size_t index = 0; index < name.size(); ++index) {
            if (name[index] == '/') {
                ++depth;
                steps_ += index < known ? 0 : lengths_[hash % lengths_.size()]++;
            }
            hash = hash * 33 ^ static_cast<unsigned char>(name[index]);
        }
        steps_ += lengths_[hash % lengths_.size()]++;
        previousLength_ = name.copy(previous_.data(), previous_.size());
        return depth < kMaxNameDepth && steps_ <= kMaxSteps;
    }

private:
    // Directories within it are those of the name before, as a rule.
    std::size_t commonLength(std::string_view name) const {
        const std::string_view previous(previous_.data(), previousLength_);
        const auto end = std::mismatch(name.begin(), name.end(), previous.begin(), previous.end());
        return static_cast<std::size_t>(end.first - name.begin());
    }

    std::array<std::uint64_t, 64> lengths_{};
    std::uint64_t steps_ = 0;
    std::array<char, kMaxNameLength> previous_;
    std::size_t previousLength_ = 0;
};

bool addName(const Archive& archive, std::uint64_t position, const Entry& entry, Names& names) {
    std::array<char, kMaxNameLength> name;
    const auto length = static_cast<std::size_t>(number(entry, 28, 2));
    if (length == 0 || length > name.size() || !archive.read(position, name.data(), length)) {
        return false;
    }
    const auto end = std::find(name.begin(), name.begin() + length, '\0');
    if (number(entry, 5, 1) == kDos) {
        std::replace(name.begin(), end, '\\', '/');
    }
    return names.add({name.begin(), end});
}

// Moves on to the next entry.
bool addEntry(const Archive& archive, bool is64, std::uint64_t& position, Names& names) {
    Entry entry;
    if (!archive.read(position, entry, kEntrySignature) ||
        !addName(archive, position + entry.size(), entry, names) ||
        (number(entry, 40, 2) & kUnixTypeMask) == kUnixSymbolicLink) {
        return false;
    }
    const std::uint64_t extra = position + entry.size() + number(entry, 28, 2);
    const std::uint64_t extraLength = number(entry, 30, 2);
    Sizes sizes = {number(entry, 20, 4), number(entry, 24, 4)};
    const bool hasExtra64 =
        is64 && (sizes.packed == kIsInExtraField || sizes.unpacked == kIsInExtraField ||
                 number(entry, 42, 4) == kIsInExtraField);
    if (hasExtra64 && !readSizes64(archive, extra, extraLength, sizes)) {
        return false;
    }
    position = extra + extraLength + number(entry, 32, 2);
    return isPlausible(sizes, number(entry, 10, 2), archive);
}

} // namespace

bool isSoundZip(const char* path) {
    const Archive archive(path);
    if (archive.size() == 0) {
        return false;
    }
    const std::optional<Directory> directory = readDirectory(archive);
    if (!directory) {
        return false;
    }
    Names names;
    std::uint64_t position = directory->position;
    for (std::uint64_t index = 0; index < directory->entries; ++index) {
        if (!addEntry(archive, directory->is64, position, names)) {
            return false;
        }
    }
    return true;
}

} // namespace vfs

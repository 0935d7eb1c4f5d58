#include "vfs/zip_directory.h"

#include "core/library_log.h"
#include "platform/cut_text.h"
#include "vfs/archive_state.h"
#include "vfs/log.h"
#include "vfs/zip_input.h"
#include "vfs/zip_records.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace vfs {

namespace {

// Larger than the longest record of an entry.
constexpr std::size_t kReadAhead = 256 << 10;

// How many bad entries get a line each.
constexpr std::uint64_t kMostComplaints = 8;

// How many bytes of a name are logged: a line of the log is limited.
constexpr std::size_t kMostOfName = 200;

// The highest ratio: deflate spends at least two bits on 258 bytes.
constexpr std::uint64_t kBestDeflation = 1032;

// Reads the numbers that are only in the zip64 field. `numbers` are in the order of that field.
// False if one is missing.
bool readExtra64(zip::Bytes extra, std::initializer_list<std::uint64_t*> numbers) {
    zip::Bytes field;
    while (extra.size() >= zip::kExtraHeader && field.empty()) {
        const std::size_t length =
            std::min<std::size_t>(zip::numberAt(extra, 2, 2), extra.size() - zip::kExtraHeader);
        if (zip::numberAt(extra, 0, 2) == zip::kExtra64) {
            field = extra.subspan(zip::kExtraHeader, length);
        }
        extra = extra.subspan(zip::kExtraHeader + length);
    }
    for (std::uint64_t* const number : numbers) {
        if (*number == zip::kIsInExtra64) {
            if (field.size() < sizeof *number) {
                return false;
            }
            *number = zip::numberAt(field, 0, sizeof *number);
            field = field.subspan(sizeof *number);
        }
    }
    return true;
}

// Whether the data can be where the entry says, and can unpack to the size that it says.
bool isPlausible(const ZipEntry& entry, const ZipExtent& extent) {
    const std::uint64_t last =
        extent.start - std::min<std::uint64_t>(extent.start, zip::LocalHeader::kSize);
    return entry.header >= extent.shift && entry.header <= last &&
           entry.packed <= last - entry.header &&
           (entry.content == ZipContent::stored ? entry.size == entry.packed
                                                : entry.size / kBestDeflation <= entry.packed);
}

ZipContent contentOf(const zip::Entry& record) {
    if ((zip::kEntryFlags.of(record) & zip::kEncrypted) != 0) {
        return ZipContent::encrypted;
    }
    switch (zip::kEntryMethod.of(record)) {
    case zip::kStored:
        return ZipContent::stored;
    case zip::kDeflated:
        return ZipContent::deflated;
    default:
        return ZipContent::otherMethod;
    }
}

ZipEntry fileOf(const zip::Entry& record, zip::Bytes extra, const ZipExtent& extent) {
    ZipEntry entry = {zip::kEntryHeader.of(record), zip::kEntryPacked.of(record),
                      zip::kEntrySize.of(record),
                      static_cast<std::uint32_t>(zip::kEntrySum.of(record)), contentOf(record)};
    const bool isWhole = readExtra64(extra, {&entry.size, &entry.packed, &entry.header});
    entry.header += extent.shift;
    if (isReadable(entry) && !(isWhole && isPlausible(entry, extent))) {
        entry.content = ZipContent::implausible;
    }
    return entry;
}

// Goes through the directory once.
class Walk {
public:
    Walk(PHYSFS_Io& io, const ZipExtent& extent, const char* archive, ZipIndex& index)
        : extent_(extent), archive_(archive), input_(io, kReadAhead), index_(index) {
        input_.setRun(extent.start, extent.end);
    }

    const char* run() {
        const char* refusal = nullptr;
        for (std::uint64_t left = extent_.entries; left > 0 && refusal == nullptr; --left) {
            refusal = addNext();
        }
        if (refusal == nullptr && isAtEntry()) {
            refusal = "it has more entries than it says";
        }
        if (complaints_ > kMostComplaints) {
            qz_logf(kArchiveModule, QZ_LOG_WARNING, "%s: %llu more of its entries are as bad.",
                    archive_, static_cast<unsigned long long>(complaints_ - kMostComplaints));
        }
        return refusal;
    }

private:
    bool isAtEntry() {
        const zip::Bytes next = input_.peek(zip::kEntrySignature.size());
        return !next.empty() &&
               std::equal(zip::kEntrySignature.begin(), zip::kEntrySignature.end(), next.begin());
    }

    const char* addNext() {
        zip::Entry record;
        const zip::Bytes start = input_.peek(zip::Entry::kSize);
        if (start.empty()) {
            return "its directory ends too early";
        }
        std::copy_n(start.begin(), zip::Entry::kSize, record.bytes.begin());
        const auto name = static_cast<std::size_t>(zip::kEntryName.of(record));
        const auto extra = static_cast<std::size_t>(zip::kEntryExtra.of(record));
        const zip::Bytes whole = input_.peek(zip::Entry::kSize + name + extra);
        if (whole.empty() || !record.hasSignature(zip::kEntrySignature)) {
            return "its directory is damaged";
        }
        const zip::Bytes nameBytes = whole.subspan(zip::Entry::kSize, name);
        name_.assign(nameBytes.begin(), nameBytes.end());
        const char* const refusal = add(record, whole.subspan(zip::Entry::kSize + name, extra));
        input_.skip(zip::Entry::kSize + name + extra + zip::kEntryComment.of(record));
        return refusal;
    }

    const char* add(const zip::Entry& record, zip::Bytes extra) {
        if (zip::kEntrySystem.of(record) == zip::kDos) {
            std::replace(name_.begin(), name_.end(), '\\', '/');
        }
        const bool isFolder = name_.ends_with('/');
        if (isFolder) {
            name_.pop_back();
        }
        if ((zip::kEntryMode.of(record) & zip::kUnixTypeMask) == zip::kUnixSymbolicLink) {
            return complain("it is a symbolic link; left out");
        }
        if (const char* const flaw = ZipIndex::flawOf(name_)) {
            return complain(flaw);
        }
        return add(isFolder ? ZipEntry() : fileOf(record, extra, extent_));
    }

    const char* add(const ZipEntry& entry) {
        if (isReadable(entry)) {
            // Zip bombs are made of entries that share their data.
            taken_ += zip::LocalHeader::kSize + entry.packed;
            if (taken_ > extent_.start) {
                return "its entries overlap";
            }
        }
        switch (index_.add(name_, entry)) {
        case ZipIndex::Added::yes:
            return nullptr;
        case ZipIndex::Added::replaced:
            return complain("it is there more than once; the last one counts");
        case ZipIndex::Added::misfit:
            return complain("it is both a file and a folder; the first one counts");
        default:
            return "its names take too much memory or time";
        }
    }

    // Returns null, because the archive is not refused for such an entry.
    const char* complain(const char* reason) {
        if (++complaints_ <= kMostComplaints) {
            logZipFlaw(archive_, name_, reason);
        }
        return nullptr;
    }

    const ZipExtent& extent_;
    const char* archive_;
    ZipInput input_;
    ZipIndex& index_;
    std::string name_; // of the entry at hand
    std::uint64_t taken_ = 0;
    std::uint64_t complaints_ = 0;
};

} // namespace

void logZipFlaw(const char* archive, std::string_view name, const char* flaw) {
    logLine(QZ_LOG_WARNING, "%s: %.*s: %s.", archive,
            static_cast<int>(platform::lengthToKeep(name, kMostOfName)), name.data(), flaw);
}

const char* readZipDirectory(PHYSFS_Io& io, const ZipExtent& extent, const char* archive,
                             ZipIndex& index) {
    return Walk(io, extent, archive, index).run();
}

} // namespace vfs

#include "vfs/zip_end.h"

#include "vfs/zip_input.h"
#include "vfs/zip_records.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace vfs {

namespace {

// Larger than the end record and the longest comment behind it.
constexpr std::size_t kTailSize = 66'000;

// What an end record says, plain or zip64.
struct Stated {
    std::uint64_t disk;
    std::uint64_t entries;
    std::uint64_t length;
    std::uint64_t start;
    std::uint64_t position; // of the record itself
    std::uint64_t behind;   // the number of bytes behind its comment
};

template<class OneRecord>
bool read(PHYSFS_Io& io, std::uint64_t position, OneRecord& record, std::string_view signature) {
    return readAt(io, position, record.bytes.data(), OneRecord::kSize) &&
           record.hasSignature(signature);
}

// Finds the end record of a zip64 archive: where the locator says, or, if there are bytes in front
// of the archive, directly in front of the locator.
bool findEnd64(PHYSFS_Io& io, const zip::Locator64& locator, std::uint64_t locatorPosition,
               Stated& found) {
    if (locatorPosition < zip::End64::kSize) {
        return false;
    }
    const std::uint64_t last = locatorPosition - zip::End64::kSize;
    for (const std::uint64_t position : {zip::kLocatorEnd64.of(locator), last}) {
        zip::End64 end;
        if (position <= last && read(io, position, end, zip::kEnd64Signature)) {
            found = {zip::kEnd64Disk.of(end),
                     zip::kEnd64Entries.of(end),
                     zip::kEnd64Length.of(end),
                     zip::kEnd64Start.of(end),
                     position,
                     found.behind};
            return true;
        }
    }
    return false;
}

// The directory ends where the end record begins.
ZipExtent extentOf(const Stated& stated) {
    ZipExtent extent = {true, nullptr, 0, stated.position, stated.entries, 0, stated.behind};
    if (stated.disk != 0) {
        extent.flaw = "it is one of several parts";
    } else if (stated.length > stated.position || stated.start > stated.position - stated.length) {
        extent.flaw = "its directory is not where it says";
    } else if (stated.entries > stated.length / zip::Entry::kSize) {
        extent.flaw = "its directory is too short for its entries";
    } else {
        extent.start = stated.position - stated.length;
        extent.shift = extent.start - stated.start;
    }
    return extent;
}

ZipExtent extentAt(PHYSFS_Io& io, Stated end) {
    zip::Locator64 locator;
    if (end.position >= zip::Locator64::kSize &&
        read(io, end.position - zip::Locator64::kSize, locator, zip::kLocator64Signature) &&
        !findEnd64(io, locator, end.position - zip::Locator64::kSize, end)) {
        return {true, "its zip64 end is missing", 0, 0, 0, 0, 0};
    }
    return extentOf(end);
}

// How likely it is that bytes with the signature of an end record are one. A comment may contain
// such bytes, and so may a file in an archive that is cut off.
enum class Likelihood { none, fits, isAtTheEnd, isBehindEntries };

struct Candidate {
    ZipExtent extent = {false, nullptr, 0, 0, 0, 0, 0};
    Likelihood likelihood = Likelihood::none;
};

bool beginsWithEntry(PHYSFS_Io& io, const ZipExtent& extent) {
    zip::Entry first;
    return extent.flaw == nullptr && extent.entries > 0 &&
           read(io, extent.start, first, zip::kEntrySignature);
}

// Judges the signature of an end record at `at` in the tail, which begins at `position` in the
// file.
Candidate candidateAt(PHYSFS_Io& io, std::string_view tail, std::size_t at,
                      std::uint64_t position) {
    zip::End end;
    std::copy_n(tail.begin() + static_cast<std::ptrdiff_t>(at), zip::End::kSize, end.bytes.begin());
    const std::uint64_t room = tail.size() - zip::End::kSize - at;
    const std::uint64_t comment = zip::kEndComment.of(end);
    if (comment > room) {
        return {};
    }
    const ZipExtent extent =
        extentAt(io, {zip::kEndDisk.of(end), zip::kEndEntries.of(end), zip::kEndLength.of(end),
                      zip::kEndStart.of(end), position + at, room - comment});
    return {extent, comment < room                ? Likelihood::fits
                    : beginsWithEntry(io, extent) ? Likelihood::isBehindEntries
                                                  : Likelihood::isAtTheEnd};
}

} // namespace

// The last one of equally likely end records counts.
ZipExtent findZipDirectory(PHYSFS_Io& io) {
    Candidate best;
    const PHYSFS_sint64 length = io.length(&io);
    const std::uint64_t size = length < 0 ? 0 : static_cast<std::uint64_t>(length);
    std::vector<char> tail(static_cast<std::size_t>(std::min<std::uint64_t>(size, kTailSize)));
    const std::uint64_t position = size - tail.size();
    if (tail.size() < zip::End::kSize || !readAt(io, position, tail.data(), tail.size())) {
        return best.extent;
    }
    const std::string_view text(tail.data(), tail.size());
    std::size_t at = text.rfind(zip::kEndSignature, text.size() - zip::End::kSize);
    while (at != std::string_view::npos && best.likelihood != Likelihood::isBehindEntries) {
        const Candidate candidate = candidateAt(io, text, at, position);
        if (candidate.likelihood > best.likelihood) {
            best = candidate;
        }
        at = at == 0 ? std::string_view::npos : text.rfind(zip::kEndSignature, at - 1);
    }
    return best.extent;
}

} // namespace vfs

// The fixed parts of the records of the zip format, and their fields. Numbers are little-endian.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vfs::zip {

using Bytes = std::span<const std::uint8_t>;

inline std::uint64_t numberAt(Bytes bytes, std::size_t offset, std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t index = width; index-- > 0;) {
        value = value << 8 | bytes[offset + index];
    }
    return value;
}

template<std::size_t recordSize>
struct Record {
    static constexpr std::size_t kSize = recordSize;

    std::array<std::uint8_t, kSize> bytes;

    bool hasSignature(std::string_view signature) const {
        return std::equal(signature.begin(), signature.end(), bytes.begin());
    }
};

// A number in a record of type OfRecord.
template<class OfRecord>
struct Field {
    std::size_t offset;
    std::size_t width;

    std::uint64_t of(const OfRecord& record) const { return numberAt(record.bytes, offset, width); }
};

// In front of an entry's data.
struct LocalHeader : Record<30> {};
inline constexpr std::string_view kLocalSignature = "PK\3\4";
inline constexpr Field<LocalHeader> kLocalName = {26, 2}; // the length of the name that follows
inline constexpr Field<LocalHeader> kLocalExtra = {28, 2};

// In the directory.
struct Entry : Record<46> {};
inline constexpr std::string_view kEntrySignature = "PK\1\2";
inline constexpr Field<Entry> kEntrySystem = {5, 1}; // the system that the entry was made on
inline constexpr Field<Entry> kEntryFlags = {8, 2};
inline constexpr Field<Entry> kEntryMethod = {10, 2};
inline constexpr Field<Entry> kEntrySum = {16, 4};
inline constexpr Field<Entry> kEntryPacked = {20, 4};
inline constexpr Field<Entry> kEntrySize = {24, 4};
inline constexpr Field<Entry> kEntryName = {28, 2};
inline constexpr Field<Entry> kEntryExtra = {30, 2};
inline constexpr Field<Entry> kEntryComment = {32, 2};
inline constexpr Field<Entry> kEntryMode = {40, 2};
inline constexpr Field<Entry> kEntryHeader = {42, 4}; // the local header's position

inline constexpr std::uint64_t kDos = 0;
inline constexpr std::uint64_t kEncrypted = 1;
inline constexpr std::uint64_t kStored = 0;
inline constexpr std::uint64_t kDeflated = 8;
inline constexpr std::uint64_t kUnixTypeMask = 0170000;
inline constexpr std::uint64_t kUnixSymbolicLink = 0120000;

// Behind the directory.
struct End : Record<22> {};
inline constexpr std::string_view kEndSignature = "PK\5\6";
inline constexpr Field<End> kEndDisk = {4, 2};
inline constexpr Field<End> kEndEntries = {10, 2};
inline constexpr Field<End> kEndLength = {12, 4}; // of the directory
inline constexpr Field<End> kEndStart = {16, 4};
inline constexpr Field<End> kEndComment = {20, 2};

// In a zip64 archive, in front of the plain end record: an end record with wider numbers, and a
// locator that holds its position.
struct End64 : Record<56> {};
inline constexpr std::string_view kEnd64Signature = "PK\6\6";
inline constexpr Field<End64> kEnd64Disk = {16, 4};
inline constexpr Field<End64> kEnd64Entries = {32, 8};
inline constexpr Field<End64> kEnd64Length = {40, 8};
inline constexpr Field<End64> kEnd64Start = {48, 8};

struct Locator64 : Record<20> {};
inline constexpr std::string_view kLocator64Signature = "PK\6\7";
inline constexpr Field<Locator64> kLocatorEnd64 = {8, 8};

// An extra field begins with its kind and its length, two bytes each.
inline constexpr std::size_t kExtraHeader = 4;
inline constexpr std::uint64_t kExtra64 = 1;
inline constexpr std::uint64_t kIsInExtra64 = 0xFFFFFFFF; // the number is in the extra field

} // namespace vfs::zip

#include "platform/win32/pe_image.h"

#include <algorithm>

namespace platform {

namespace {

// Far more than linkers make. A table can claim so many sections that looking through them for each
// line of a report would take hours.
constexpr unsigned kMostSections = 512;

std::uint32_t lengthOf(const IMAGE_SECTION_HEADER& section) {
    return static_cast<std::uint32_t>(std::max(section.Misc.VirtualSize, section.SizeOfRawData));
}

} // namespace

PeImage::PeImage(const void* bytes, std::size_t size, Layout layout)
    : bytes_(static_cast<const std::uint8_t*>(bytes)), size_(size), layout_(layout) {
    const auto* dos = at<IMAGE_DOS_HEADER>(0);
    if (dos == nullptr || dos->e_magic != IMAGE_DOS_SIGNATURE || dos->e_lfanew < 0) {
        return;
    }
    const auto position = static_cast<std::uint64_t>(dos->e_lfanew);
    const auto* headers = at<IMAGE_NT_HEADERS64>(position);
    if (headers == nullptr || headers->Signature != IMAGE_NT_SIGNATURE ||
        headers->OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR64_MAGIC) {
        return;
    }
    sections_ = at<IMAGE_SECTION_HEADER>(position + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) +
                                             headers->FileHeader.SizeOfOptionalHeader,
                                         headers->FileHeader.NumberOfSections);
    headers_ = sections_ != nullptr ? headers : nullptr;
}

template<class Value>
const Value* PeImage::at(std::uint64_t position, std::size_t count) const {
    const bool fits = position <= size_ && count <= (size_ - position) / sizeof(Value);
    return fits ? reinterpret_cast<const Value*>(bytes_ + position) : nullptr;
}

template<class Value>
const Value* PeImage::inMemory(std::uint32_t address, std::size_t count) const {
    if (layout_ == Layout::mapped) {
        return at<Value>(address, count);
    }
    std::uint32_t offset = 0;
    const unsigned number = sectionAt(address, offset);
    return number != 0 ? at<Value>(std::uint64_t{section(number)->PointerToRawData} + offset, count)
                       : nullptr;
}

const IMAGE_SECTION_HEADER* PeImage::section(unsigned number) const {
    const auto count = std::min<unsigned>(headers_->FileHeader.NumberOfSections, kMostSections);
    return number > 0 && number <= count ? &sections_[number - 1] : nullptr;
}

unsigned PeImage::sectionAt(std::uint32_t address, std::uint32_t& offset) const {
    for (unsigned number = 1; const auto* found = section(number); ++number) {
        if (address >= found->VirtualAddress &&
            address - found->VirtualAddress < lengthOf(*found)) {
            offset = address - static_cast<std::uint32_t>(found->VirtualAddress);
            return number;
        }
    }
    return 0;
}

bool PeImage::addressOf(unsigned number, std::uint32_t offset, std::uint32_t& address) const {
    const IMAGE_SECTION_HEADER* found = section(number);
    if (found == nullptr || offset >= lengthOf(*found)) {
        return false;
    }
    address = static_cast<std::uint32_t>(found->VirtualAddress + offset);
    return true;
}

const IMAGE_RUNTIME_FUNCTION_ENTRY* PeImage::findFunction(std::uint32_t address) const {
    constexpr std::uint32_t kExceptions = IMAGE_DIRECTORY_ENTRY_EXCEPTION;
    const IMAGE_OPTIONAL_HEADER64& optional = headers_->OptionalHeader;
    if (optional.NumberOfRvaAndSizes <= kExceptions) {
        return nullptr;
    }
    const IMAGE_DATA_DIRECTORY& directory = optional.DataDirectory[kExceptions];
    const std::size_t count = directory.Size / sizeof(IMAGE_RUNTIME_FUNCTION_ENTRY);
    const auto* first = inMemory<IMAGE_RUNTIME_FUNCTION_ENTRY>(
        static_cast<std::uint32_t>(directory.VirtualAddress), count);
    if (first == nullptr || count == 0) {
        return nullptr;
    }
    const auto* behind = std::upper_bound(
        first, first + count, address,
        [](std::uint32_t wanted, const auto& entry) { return wanted < entry.BeginAddress; });
    return behind != first && address < behind[-1].EndAddress ? behind - 1 : nullptr;
}

// A function that was split has an entry for each part. Each but one names another part's entry.
const IMAGE_RUNTIME_FUNCTION_ENTRY*
PeImage::chainedFrom(const IMAGE_RUNTIME_FUNCTION_ENTRY& part) const {
    constexpr unsigned kFlagsShift = 3;
    constexpr std::uint32_t kHead = 4;
    const auto info = static_cast<std::uint32_t>(part.UnwindInfoAddress);
    const auto* head = inMemory<std::uint8_t>(info, kHead);
    if (head == nullptr || ((head[0] >> kFlagsShift) & UNW_FLAG_CHAININFO) == 0) {
        return nullptr;
    }
    const std::uint32_t codes = (head[2] + 1U) & ~1U;
    return inMemory<IMAGE_RUNTIME_FUNCTION_ENTRY>(info + kHead + codes * 2);
}

bool PeImage::functionBegin(std::uint32_t address, std::uint32_t& begin) const {
    const IMAGE_RUNTIME_FUNCTION_ENTRY* entry = findFunction(address);
    for (int longest = 32; entry != nullptr && longest > 0; --longest) {
        begin = static_cast<std::uint32_t>(entry->BeginAddress);
        const IMAGE_RUNTIME_FUNCTION_ENTRY* whole = chainedFrom(*entry);
        if (whole == nullptr) {
            return true;
        }
        entry = whole;
    }
    return false;
}

} // namespace platform

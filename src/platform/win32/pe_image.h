// The tables of a PE module, in memory or as a file's bytes. Safe in a crash, and against any
// contents.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

namespace platform {

class PeImage {
public:
    enum class Layout { mapped, file };

    PeImage() = default;
    PeImage(const void* bytes, std::size_t size, Layout layout);

    // False if the bytes are no 64-bit module.
    bool isValid() const { return headers_ != nullptr; }

    std::uint32_t sizeInMemory() const { return headers_->OptionalHeader.SizeOfImage; }

    unsigned sectionAt(std::uint32_t address, std::uint32_t& offset) const;
    bool addressOf(unsigned section, std::uint32_t offset, std::uint32_t& address) const;

    // Where the function that has the address begins, by the tables for unwinding. False if they do
    // not tell, for instance for functions that use no stack.
    bool functionBegin(std::uint32_t address, std::uint32_t& begin) const;

private:
    const IMAGE_SECTION_HEADER* section(unsigned number) const;
    const IMAGE_RUNTIME_FUNCTION_ENTRY* findFunction(std::uint32_t address) const;
    const IMAGE_RUNTIME_FUNCTION_ENTRY* chainedFrom(const IMAGE_RUNTIME_FUNCTION_ENTRY& part) const;

    template<class Value>
    const Value* at(std::uint64_t position, std::size_t count = 1) const;
    template<class Value>
    const Value* inMemory(std::uint32_t address, std::size_t count = 1) const;

    const std::uint8_t* bytes_ = nullptr;
    std::size_t size_ = 0;
    Layout layout_ = Layout::file;
    const IMAGE_NT_HEADERS64* headers_ = nullptr;
    const IMAGE_SECTION_HEADER* sections_ = nullptr;
};

} // namespace platform

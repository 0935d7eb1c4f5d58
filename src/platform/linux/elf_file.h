// The tables of an ELF file, read as data. Safe in a signal handler, and against any contents.
#pragma once

#include "platform/posix/descriptor.h"

#include <elf.h>

#include <cstddef>
#include <cstdint>

namespace platform {

// Whether an error means that the process or the system is short of descriptors or memory.
bool isShortage(int error);

class ElfFile {
public:
    // Opens an ordinary file with the header of a 64-bit ELF file.
    explicit ElfFile(const char* path);

    bool isOpen() const { return isOpen_; }

    // Whether it could not be opened because of a shortage.
    bool isOutOfReach() const { return isOutOfReach_; }

    // Whether it is an executable that must be loaded at its own address.
    bool isFixed() const { return header_.e_type == ET_EXEC; }

    // Where the file wants its first page, and how far its segments reach from there.
    std::uint64_t loadAddress() const { return loadAddress_; }
    std::uint64_t size() const { return size_; }

    std::int64_t changeTime() const { return changeTime_; }

    // Whether the file holds all contents of its sections. Reading a mapped one otherwise faults.
    bool isWhole() const;

    // The beginning of the section with this name, cut to fit; false if there is none.
    bool textOf(const char* sectionName, char* text, std::size_t room) const;

    bool section(unsigned number, Elf64_Shdr& section) const;

    // The number of the section that has the address in memory, with the offset in it; 0 if none.
    unsigned sectionAt(std::uint64_t address, std::uint32_t& offset) const;

    // Whether the file's first page is the same as in memory there: a file of the same name may
    // have replaced the loaded one.
    bool beginsLike(const void* memory) const;

private:
    bool read(void* buffer, std::size_t count, std::uint64_t offset) const;
    bool readHeader();
    bool readSegments();
    unsigned readSections(unsigned first, Elf64_Shdr* sections, unsigned room) const;

    Descriptor file_;
    bool isOutOfReach_;
    bool isOpen_ = false;
    Elf64_Ehdr header_{};
    std::uint64_t loadAddress_ = 0;
    std::uint64_t size_ = 0;
    std::uint64_t fileSize_ = 0;
    std::int64_t changeTime_ = 0;
};

} // namespace platform

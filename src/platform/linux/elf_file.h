// The tables of an ELF file, read as data. Safe in a signal handler, and against any contents.
#pragma once

#include <elf.h>

#include <cstddef>
#include <cstdint>

namespace platform {

// Whether an error says that the process, or the system, has no more of something just now.
bool isShortage(int error);

class ElfFile {
public:
    // Opens an ordinary file with the header of a 64-bit ELF file.
    explicit ElfFile(const char* path);
    ~ElfFile();
    ElfFile(const ElfFile&) = delete;
    ElfFile& operator=(const ElfFile&) = delete;

    bool isOpen() const { return isOpen_; }

    // Whether it could not be opened because of a shortage.
    bool isOutOfReach() const { return isOutOfReach_; }

    // An executable that cannot be moved.
    bool isFixed() const { return header_.e_type == ET_EXEC; }

    // Where the file wants its first page, and how far its segments reach from there.
    std::uint64_t loadAddress() const { return loadAddress_; }
    std::uint64_t size() const { return size_; }

    std::int64_t changeTime() const { return changeTime_; }

    // Whether the sections' contents are all there. Who maps one that is cut off gets a signal.
    bool isWhole() const;

    // What the section with this name begins with, cut to fit; false if there is none.
    bool textOf(const char* sectionName, char* text, std::size_t room) const;

    bool section(unsigned number, Elf64_Shdr& section) const;

    // The section that has the address in memory, 0 if none.
    unsigned sectionAt(std::uint64_t address, std::uint32_t& offset) const;

    // Whether the file's first page is the one in memory there: a file of that name may have
    // replaced the one that was loaded.
    bool beginsLike(const void* memory) const;

private:
    bool read(void* buffer, std::size_t count, std::uint64_t offset) const;
    bool readHeader();
    bool readSegments();
    unsigned readSections(unsigned first, Elf64_Shdr* sections, unsigned room) const;

    int file_;
    bool isOutOfReach_;
    bool isOpen_ = false;
    Elf64_Ehdr header_{};
    std::uint64_t loadAddress_ = 0;
    std::uint64_t size_ = 0;
    std::uint64_t fileSize_ = 0;
    std::int64_t changeTime_ = 0;
};

} // namespace platform

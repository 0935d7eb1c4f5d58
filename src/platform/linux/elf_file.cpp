#include "platform/linux/elf_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace platform {

namespace {

constexpr std::uint64_t kPage = 4096;

// Far more than linkers make. Tables can claim so many entries that looking through them for each
// line of a report would take days.
constexpr unsigned kMostEntries = 512;
constexpr unsigned kAtOnce = 16; // entries of a table that are read at once

constexpr std::uint64_t pageOf(std::uint64_t address) {
    return address & ~(kPage - 1);
}

// Thread-local storage has addresses of its own that overlap those of the sections behind it.
bool isInMemory(const Elf64_Shdr& section) {
    const bool isThreadLocal = (section.sh_flags & SHF_TLS) != 0 && section.sh_type == SHT_NOBITS;
    return (section.sh_flags & SHF_ALLOC) != 0 && !isThreadLocal;
}

// Checks the kind of file before opening it: opening a device may do something. Failure sets errno.
int openOrdinary(const char* path) {
    struct stat status {};
    if (stat(path, &status) != 0) {
        return -1;
    }
    errno = ENXIO;
    return S_ISREG(status.st_mode) ? ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)
                                   : -1;
}

} // namespace

bool isShortage(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM;
}

ElfFile::ElfFile(const char* path)
    : file_(openOrdinary(path)), isOutOfReach_(!file_.isOpen() && isShortage(errno)) {
    isOpen_ = file_.isOpen() && readHeader() && readSegments();
}

bool ElfFile::read(void* buffer, std::size_t count, std::uint64_t offset) const {
    return pread(file_.number(), buffer, count, static_cast<off_t>(offset)) ==
           static_cast<ssize_t>(count);
}

bool ElfFile::readHeader() {
    struct stat status {};
    if (fstat(file_.number(), &status) != 0 || !S_ISREG(status.st_mode) ||
        !read(&header_, sizeof header_, 0)) {
        return false;
    }
    changeTime_ = status.st_mtim.tv_sec;
    fileSize_ = static_cast<std::uint64_t>(status.st_size);
    return std::memcmp(header_.e_ident, ELFMAG, SELFMAG) == 0 &&
           header_.e_ident[EI_CLASS] == ELFCLASS64 && header_.e_ident[EI_DATA] == ELFDATA2LSB &&
           (header_.e_type == ET_EXEC || header_.e_type == ET_DYN);
}

bool ElfFile::readSegments() {
    if (header_.e_phnum > kMostEntries) {
        return false;
    }
    std::uint64_t begin = UINT64_MAX;
    std::uint64_t end = 0;
    Elf64_Phdr segments[kAtOnce];
    for (unsigned first = 0; first < header_.e_phnum; first += kAtOnce) {
        const unsigned count = std::min<unsigned>(header_.e_phnum - first, kAtOnce);
        if (!read(segments, count * sizeof *segments, header_.e_phoff + first * sizeof *segments)) {
            return false;
        }
        for (unsigned i = 0; i < count; ++i) {
            if (segments[i].p_type == PT_LOAD) {
                begin = std::min(begin, pageOf(segments[i].p_vaddr));
                end = std::max(end, segments[i].p_vaddr + segments[i].p_memsz);
            }
        }
    }
    loadAddress_ = begin;
    size_ = end - begin;
    return begin < end;
}

// Reads as many sections as there are from `first` on, but at most `room`. Returns how many.
unsigned ElfFile::readSections(unsigned first, Elf64_Shdr* sections, unsigned room) const {
    const unsigned end = std::min<unsigned>(header_.e_shnum, kMostEntries);
    const unsigned count = first < end ? std::min(end - first, room) : 0;
    return header_.e_shentsize == sizeof *sections &&
                   read(sections, count * sizeof *sections,
                        header_.e_shoff + first * sizeof *sections)
               ? count
               : 0;
}

bool ElfFile::section(unsigned number, Elf64_Shdr& section) const {
    return number > 0 && readSections(number, &section, 1) == 1 && isInMemory(section);
}

unsigned ElfFile::sectionAt(std::uint64_t address, std::uint32_t& offset) const {
    Elf64_Shdr sections[kAtOnce];
    unsigned count = 0;
    for (unsigned first = 1; (count = readSections(first, sections, kAtOnce)) > 0; first += count) {
        for (unsigned i = 0; i < count; ++i) {
            const std::uint64_t distance = address - sections[i].sh_addr;
            if (isInMemory(sections[i]) && distance < sections[i].sh_size) {
                offset = static_cast<std::uint32_t>(distance);
                return first + i;
            }
        }
    }
    return 0;
}

bool ElfFile::isWhole() const {
    // Numbers too large for the header would stand in the first section; no module has so many.
    if (header_.e_shstrndx >= std::max<unsigned>(header_.e_shnum, 1) ||
        (header_.e_shnum == 0 && header_.e_shoff != 0)) {
        return false;
    }
    for (unsigned i = 0; i < header_.e_shnum; ++i) {
        Elf64_Shdr found;
        if (readSections(i, &found, 1) == 0) {
            return false;
        }
        const bool isInFile =
            found.sh_offset <= fileSize_ && found.sh_size <= fileSize_ - found.sh_offset;
        const bool isOnlyInMemory =
            found.sh_type == SHT_NOBITS && (found.sh_flags & SHF_ALLOC) != 0;
        if (!isInFile && (!isOnlyInMemory || i == header_.e_shstrndx)) {
            return false;
        }
    }
    return true;
}

bool ElfFile::textOf(const char* sectionName, char* text, std::size_t room) const {
    Elf64_Shdr names;
    Elf64_Shdr found;
    char name[32] = "";
    const std::size_t length = std::min(std::strlen(sectionName) + 1, sizeof name);
    if (readSections(header_.e_shstrndx, &names, 1) == 0) {
        return false;
    }
    for (unsigned i = 1; readSections(i, &found, 1) == 1; ++i) {
        if (read(name, length, names.sh_offset + found.sh_name) &&
            std::memcmp(name, sectionName, length) == 0) {
            const auto count = std::min<std::uint64_t>(found.sh_size, room - 1);
            text[count] = 0;
            return read(text, count, found.sh_offset);
        }
    }
    return false;
}

bool ElfFile::beginsLike(const void* memory) const {
    char piece[2048];
    for (std::uint64_t done = 0; done < kPage; done += sizeof piece) {
        const ssize_t count = pread(file_.number(), piece, sizeof piece, static_cast<off_t>(done));
        if (count < 0 || std::memcmp(piece, static_cast<const char*>(memory) + done,
                                     static_cast<std::size_t>(count)) != 0) {
            return false;
        }
    }
    return true;
}

} // namespace platform

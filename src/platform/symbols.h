// What lies at an address: module, section, symbol, source line. Texts are UTF-8.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>

namespace platform {

struct ModulePlace {
    static constexpr std::size_t kPathRoom = 1024;

    unsigned section = 0;     // counted from 1; 0 if no section has the address
    std::uint32_t offset = 0; // in the section
    char module[kPathRoom] = "";
};

struct SourcePlace {
    static constexpr std::size_t kNameRoom = 512;

    char symbol[kNameRoom] = "";    // empty if none is certain
    std::uint64_t displacement = 0; // from the symbol's start
    char file[kNameRoom] = "";      // empty if no line is known
    unsigned line = 0;
};

// The module and section of an address of this process. For fault functions.
void findModule(std::uintptr_t address, ModulePlace& place);

// Symbol and line of an address of this process. A return address belongs to the call before it. To
// be called in walkStack's callback only.
void findSource(std::uintptr_t address, bool isReturnAddress, SourcePlace& place);

// A file could not be read for want of memory or descriptors. It may be readable later.
class SymbolsOutOfReach : public std::exception {
public:
    const char* what() const noexcept override { return "symbols are out of reach"; }
};

// A module's file, read as data: none of its code runs. Addresses count from where the module
// begins in memory.
class ModuleFile {
public:
    virtual ~ModuleFile() = default;
    ModuleFile(const ModuleFile&) = delete;
    ModuleFile& operator=(const ModuleFile&) = delete;

    // Null unless the path is absolute and local and leads to an ordinary file that is a module.
    // Throws SymbolsOutOfReach.
    static std::unique_ptr<ModuleFile> open(const char* path);

    // When the file last changed, in seconds since the start of 1970, UTC.
    virtual std::int64_t changeTime() const = 0;

    // Whether a loader could have put the module at an address with these low 32 bits.
    virtual bool mayBeginAt(std::uint32_t base) const = 0;

    // The module's size in memory.
    virtual std::uint32_t size() const = 0;

    // False if there is no such section or the offset lies behind its end.
    virtual bool addressOf(unsigned section, std::uint32_t offset,
                           std::uint32_t& address) const = 0;

    virtual void placeOf(std::uint32_t address, unsigned& section, std::uint32_t& offset) const = 0;

    // Like findSource. Throws SymbolsOutOfReach.
    virtual void source(std::uint32_t address, bool isReturnAddress, SourcePlace& place) = 0;

protected:
    ModuleFile() = default;
};

// False if the system cannot read symbols from files. One thread at a time opens and asks files.
bool openSymbolFiles();

} // namespace platform

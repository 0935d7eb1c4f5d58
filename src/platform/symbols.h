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

    char symbol[kNameRoom] = "";    // empty if none is known for certain
    std::uint64_t displacement = 0; // from the symbol's start
    char file[kNameRoom] = "";      // empty if no line is known
    unsigned line = 0;
};

// Where an address of this process belongs. For fault functions.
void findModule(std::uintptr_t address, ModulePlace& place);

// Symbol and line of an address of this process. A return address belongs to the call before it.
// For the callback of walkStack.
void findSource(std::uintptr_t address, bool isReturnAddress, SourcePlace& place);

// A file could not be read because memory or descriptors are short. Later that may be different.
class SymbolsOutOfReach : public std::exception {
public:
    const char* what() const noexcept override { return "symbols are out of reach"; }
};

// A module's file, read as data: nothing of it runs. Addresses count from where the module begins
// in memory.
class ModuleFile {
public:
    virtual ~ModuleFile() = default;
    ModuleFile(const ModuleFile&) = delete;
    ModuleFile& operator=(const ModuleFile&) = delete;

    // Null if there is no such ordinary file by an absolute local path, or if it is no module.
    // Throws SymbolsOutOfReach.
    static std::unique_ptr<ModuleFile> open(const char* path);

    // When its contents last changed, in seconds since the start of 1970, UTC.
    virtual std::int64_t changeTime() const = 0;

    // Whether a loader could have put it at an address with these low 32 bits.
    virtual bool mayBeginAt(std::uint32_t base) const = 0;

    // Of the module in memory.
    virtual std::uint32_t size() const = 0;

    // False if there is no such section or it is not as long.
    virtual bool addressOf(unsigned section, std::uint32_t offset,
                           std::uint32_t& address) const = 0;

    virtual void placeOf(std::uint32_t address, unsigned& section, std::uint32_t& offset) const = 0;

    // As findSource. Throws SymbolsOutOfReach.
    virtual void source(std::uint32_t address, bool isReturnAddress, SourcePlace& place) = 0;

protected:
    ModuleFile() = default;
};

// Whether files can be asked for symbols at all. Files are opened and asked by one thread at a
// time.
bool openSymbolFiles();

} // namespace platform

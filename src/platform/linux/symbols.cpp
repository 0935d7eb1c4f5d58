#include "platform/symbols.h"

#include "platform/cut_text.h"
#include "platform/linux/elf_file.h"
#include "platform/linux/mappings.h"
#include "platform/linux/symbols.h"

#include <backtrace.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace platform {

namespace {

constexpr std::uint32_t kPage = 4096;

// Only for walkStack in a dying process; see startSymbols.
constinit backtrace_state* processSymbols = nullptr;

struct Lookup {
    std::uintptr_t address;
    SourcePlace* place;
    bool fellShort = false; // memory or descriptors were short
};

void noteError(void* context, const char*, int error) {
    static_cast<Lookup*>(context)->fellShort |= isShortage(error);
}

// The innermost of several inlined functions comes first.
int takeLine(void* context, std::uintptr_t, const char* file, int line, const char*) {
    SourcePlace& place = *static_cast<Lookup*>(context)->place;
    if (file != nullptr && line > 0) {
        copyCut(place.file, file);
        place.line = static_cast<unsigned>(line);
    }
    return 1;
}

void takeSymbol(void* context, std::uintptr_t, const char* name, std::uintptr_t start,
                std::uintptr_t) {
    const Lookup& lookup = *static_cast<Lookup*>(context);
    if (name != nullptr) {
        copyCut(lookup.place->symbol, name);
        lookup.place->displacement = lookup.address - start;
    }
}

void lookUp(backtrace_state* state, Lookup& lookup, bool isReturnAddress) {
    if (state != nullptr) {
        const std::uintptr_t instruction = isReturnAddress ? lookup.address - 1 : lookup.address;
        backtrace_syminfo(state, instruction, takeSymbol, noteError, &lookup);
        backtrace_pcinfo(state, instruction, takeLine, noteError, &lookup);
    }
}

// The program's load address: the loader names the program first.
int takeFirstAddress(dl_phdr_info* program, std::size_t, void* address) {
    *static_cast<std::uintptr_t*>(address) = program->dlpi_addr;
    return 1;
}

// Modules' symbols, by path and time of change. The reader never frees its memory, so what was read
// is kept for the next time.
class KnownSymbols {
public:
    using Module = std::pair<std::string, std::int64_t>;

    void find(const Module& module, Lookup& lookup, bool isReturnAddress) {
        lookUp(stateOf(module, lookup), lookup, isReturnAddress);
        if (lookup.fellShort) {
            known_.erase(module); // else it would fail for ever
        }
    }

private:
    static constexpr int kMostStates = 512; // reports may name any modules

    backtrace_state* stateOf(const Module& module, Lookup& lookup) {
        const auto found = known_.find(module);
        if (found != known_.end() || states_ == kMostStates) {
            return found != known_.end() ? found->second : nullptr;
        }
        const auto added = known_.try_emplace(module, nullptr).first;
        ++states_;
        // The reader keeps the pointer to the path, and nodes of a map stay where they are.
        const char* const path = added->first.first.c_str();
        added->second = backtrace_create_state(path, 0, noteError, &lookup);
        return added->second;
    }

    std::map<Module, backtrace_state*> known_;
    int states_ = 0;
};

std::string folderOf(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1);
}

bool isSound(const ElfFile& file, const std::string& path, int linksLeft);

// The symbol reader follows links from a module to files with its debugging information and checks
// none of them. True if it can follow this one safely.
bool isLinkSound(const std::string& path, int linksLeft) {
    return access(path.c_str(), F_OK) != 0 ||
           (linksLeft > 0 && isSound(ElfFile(path.c_str()), path, linksLeft - 1));
}

bool isSound(const ElfFile& file, const std::string& path, int linksLeft) {
    if (file.isOutOfReach()) {
        throw SymbolsOutOfReach();
    }
    if (!file.isOpen() || !file.isWhole()) {
        return false;
    }
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr),
                                                               &std::free);
    const std::string real = folderOf(resolved != nullptr ? resolved.get() : path);
    const std::string own = folderOf(path);
    for (const char* section : {".gnu_debuglink", ".gnu_debugaltlink"}) {
        char link[PATH_MAX];
        if (!file.textOf(section, link, sizeof link)) {
            continue;
        }
        for (const std::string& folder : {own, own + ".debug/", real, real + ".debug/",
                                          "/usr/lib/debug" + own, std::string()}) {
            if ((!folder.empty() || link[0] == '/') && !isLinkSound(folder + link, linksLeft)) {
                return false;
            }
        }
    }
    return true;
}

class ElfModule final : public ModuleFile {
public:
    explicit ElfModule(const char* path)
        : file_(path), path_(path), isSound_(isSound(file_, path_, 2)) {}

    bool isOpen() const {
        return file_.isOpen() && file_.size() <= std::numeric_limits<std::uint32_t>::max();
    }

    std::int64_t changeTime() const override { return file_.changeTime(); }
    bool mayBeginAt(std::uint32_t base) const override {
        return file_.isFixed() ? base == static_cast<std::uint32_t>(file_.loadAddress())
                               : base % kPage == 0;
    }
    std::uint32_t size() const override { return static_cast<std::uint32_t>(file_.size()); }

    bool addressOf(unsigned section, std::uint32_t offset, std::uint32_t& address) const override {
        Elf64_Shdr found;
        if (!file_.section(section, found) || offset >= found.sh_size) {
            return false;
        }
        address = static_cast<std::uint32_t>(found.sh_addr - file_.loadAddress() + offset);
        return true;
    }

    void placeOf(std::uint32_t address, unsigned& section, std::uint32_t& offset) const override {
        offset = 0;
        section = file_.sectionAt(file_.loadAddress() + address, offset);
    }

    // The symbol reader takes the named file for the running program: it looks for a movable file
    // where the program is, and for any other file at the file's own addresses.
    void source(std::uint32_t address, bool isReturnAddress, SourcePlace& place) override {
        place = {};
        if (!isSound_) {
            return;
        }
        std::uintptr_t base = 0;
        if (!file_.isFixed()) {
            dl_iterate_phdr(takeFirstAddress, &base);
        }
        static KnownSymbols symbols;
        Lookup lookup{base + file_.loadAddress() + address, &place};
        symbols.find({path_, changeTime()}, lookup, isReturnAddress);
        if (lookup.fellShort) {
            throw SymbolsOutOfReach();
        }
    }

private:
    ElfFile file_;
    std::string path_;
    bool isSound_; // the symbol reader maps sections even if the file is cut off
};

} // namespace

void startSymbols() {
    Lookup none{};
    // The reader's own choice, /proc/self/exe, is empty when the first thread has ended; it comes
    // back to that where there is no /proc/thread-self.
    processSymbols = backtrace_create_state("/proc/thread-self/exe", 0, noteError, &none);
}

void findModule(std::uintptr_t address, ModulePlace& place) {
    place = {};
    const Mapping* mapping = findMapping(address);
    if (mapping == nullptr) {
        return;
    }
    static_assert(sizeof place.module == sizeof mapping->path);
    std::memcpy(place.module, mapping->path, sizeof place.module);
    const ElfFile file(mapping->path);
    if (mapping->base != 0 && file.isOpen() &&
        file.beginsLike(reinterpret_cast<const void*>(mapping->base))) {
        place.section = file.sectionAt(address - mapping->base + file.loadAddress(), place.offset);
    }
}

void findSource(std::uintptr_t address, bool isReturnAddress, SourcePlace& place) {
    place = {};
    Lookup lookup{address, &place};
    lookUp(processSymbols, lookup, isReturnAddress);
}

std::unique_ptr<ModuleFile> ModuleFile::open(const char* path) {
    if (path[0] != '/') {
        return nullptr;
    }
    auto module = std::make_unique<ElfModule>(path);
    return module->isOpen() ? std::move(module) : nullptr;
}

bool openSymbolFiles() {
    return true;
}

} // namespace platform

#include "platform/symbols.h"

#include "platform/posix/elf_file.h"
#include "platform/posix/mappings.h"
#include "platform/posix/symbols.h"

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

// Only for the walk of a dying process; see startSymbols.
constinit backtrace_state* processSymbols = nullptr;

void ignoreError(void*, const char*, int) {}

void copyText(char (&to)[SourcePlace::kNameRoom], const char* from) {
    const std::size_t length = std::min(std::strlen(from), sizeof to - 1);
    std::memcpy(to, from, length);
    to[length] = 0;
}

struct Lookup {
    std::uintptr_t address;
    SourcePlace* place;
};

// The innermost of the functions that were compiled into each other comes first.
int takeLine(void* context, std::uintptr_t, const char* file, int line, const char*) {
    SourcePlace& place = *static_cast<Lookup*>(context)->place;
    if (file != nullptr && line > 0) {
        copyText(place.file, file);
        place.line = static_cast<unsigned>(line);
    }
    return 1;
}

void takeSymbol(void* context, std::uintptr_t, const char* name, std::uintptr_t start,
                std::uintptr_t) {
    const Lookup& lookup = *static_cast<Lookup*>(context);
    if (name != nullptr) {
        copyText(lookup.place->symbol, name);
        lookup.place->displacement = lookup.address - start;
    }
}

void lookUp(backtrace_state* state, std::uintptr_t address, bool isReturnAddress,
            SourcePlace& place) {
    place = {};
    if (state == nullptr) {
        return;
    }
    Lookup lookup{address, &place};
    const std::uintptr_t instruction = isReturnAddress ? address - 1 : address;
    backtrace_syminfo(state, instruction, takeSymbol, ignoreError, &lookup);
    backtrace_pcinfo(state, instruction, takeLine, ignoreError, &lookup);
}

// Where the loader put the program: it is the first that it names.
int takeFirstAddress(dl_phdr_info* program, std::size_t, void* address) {
    *static_cast<std::uintptr_t*>(address) = program->dlpi_addr;
    return 1;
}

// Nothing that the reader allocates can be given back, so what was read is kept for the next time.
backtrace_state* symbolsOf(const std::string& path, std::int64_t changeTime) {
    constexpr std::size_t kMostModules = 512; // reports may name any
    static std::map<std::pair<std::string, std::int64_t>, backtrace_state*> known;
    const auto found = known.find({path, changeTime});
    if (found != known.end() || known.size() >= kMostModules) {
        return found != known.end() ? found->second : nullptr;
    }
    const auto added = known.try_emplace({path, changeTime}, nullptr).first;
    // The reader keeps the pointer to the path, and nodes of a map stay where they are.
    added->second = backtrace_create_state(added->first.first.c_str(), 0, ignoreError, nullptr);
    return added->second;
}

std::string folderOf(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1);
}

bool isReadable(const ElfFile& file, const std::string& path, int linksLeft);

// The symbol reader follows links from a module to files with its debugging information, and asks
// none of them what it is.
bool isLinkReadable(const std::string& path, int linksLeft) {
    return access(path.c_str(), F_OK) != 0 ||
           (linksLeft > 0 && isReadable(ElfFile(path.c_str()), path, linksLeft - 1));
}

bool isReadable(const ElfFile& file, const std::string& path, int linksLeft) {
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
            if ((!folder.empty() || link[0] == '/') && !isLinkReadable(folder + link, linksLeft)) {
                return false;
            }
        }
    }
    return true;
}

class ElfModule final : public ModuleFile {
public:
    explicit ElfModule(const char* path)
        : file_(path), path_(path), isReadable_(isReadable(file_, path_, 2)) {}

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

    // The symbol reader takes the named file for the running program. So it looks for a file that
    // can be moved where the program is, and for any other where the file says.
    void source(std::uint32_t address, bool isReturnAddress, SourcePlace& place) override {
        place = {};
        if (!isReadable_) {
            return;
        }
        std::uintptr_t base = 0;
        if (!file_.isFixed()) {
            dl_iterate_phdr(takeFirstAddress, &base);
        }
        lookUp(symbolsOf(path_, changeTime()), base + file_.loadAddress() + address,
               isReturnAddress, place);
    }

private:
    ElfFile file_;
    std::string path_;
    bool isReadable_; // the symbol reader maps what sections it finds, there or not
};

} // namespace

void startSymbols() {
    processSymbols = backtrace_create_state(nullptr, 0, ignoreError, nullptr);
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
    lookUp(processSymbols, address, isReturnAddress, place);
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

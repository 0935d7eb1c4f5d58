#include "platform/win32/symbols.h"

#include "platform/cut_text.h"
#include "platform/symbols.h"
#include "platform/win32/file_time.h"
#include "platform/win32/handle.h"
#include "platform/win32/pe_image.h"
#include "platform/win32/wide.h"

#include <windows.h>

// After windows.h, which it needs.
#include <dbghelp.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <string>
#include <string_view>

namespace platform {

namespace {

constinit HANDLE process = nullptr; // this process, while its symbols are open

// A session for files needs a handle that no other session has; any value will do.
HANDLE fileSession() {
    static char session;
    return &session;
}

bool initialise(HANDLE session, bool isThisProcess) {
    SymSetOptions(SYMOPT_UNDNAME | SYMOPT_LOAD_LINES | SYMOPT_DEFERRED_LOADS |
                  SYMOPT_EXACT_SYMBOLS | SYMOPT_FAIL_CRITICAL_ERRORS | SYMOPT_NO_PROMPTS);
    return SymInitializeW(session, nullptr, isThisProcess) != FALSE;
}

// The folders where PDB files are looked for. Used in a fault function, so it allocates nothing.
class SearchPath {
public:
    // Begins with the system's own places: the current directory and what _NT_SYMBOL_PATH names.
    explicit SearchPath(HANDLE session) {
        length_ = SymGetSearchPathW(session, text_, kRoom) ? std::wcslen(text_) : 0;
    }

    // Adds the module's folder, and the folder that packages keep PDB files in.
    void addThoseOf(const wchar_t* module) {
        if (const wchar_t* separator = std::wcsrchr(module, L'\\')) {
            const auto length = static_cast<std::size_t>(separator - module);
            add(module, length, L"");
            add(module, length, L"\\..\\symbols");
        }
    }

    void use(HANDLE session) const { SymSetSearchPathW(session, text_); }

private:
    static constexpr std::size_t kRoom = 4096;

    void add(const wchar_t* folder, std::size_t folderLength, std::wstring_view ending) {
        if (length_ + folderLength + ending.size() + 2 <= kRoom) {
            text_[length_] = L';';
            std::wmemcpy(text_ + length_ + 1, folder, folderLength);
            length_ +=
                1 + folderLength + ending.copy(text_ + length_ + 1 + folderLength, ending.size());
            text_[length_] = 0;
        }
    }

    wchar_t text_[kRoom] = L"";
    std::size_t length_;
};

void searchForThisLibrary() {
    wchar_t path[ModulePlace::kPathRoom];
    HMODULE library = nullptr;
    if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                               GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           reinterpret_cast<const wchar_t*>(&searchForThisLibrary), &library) &&
        GetModuleFileNameW(library, path, ModulePlace::kPathRoom) < ModulePlace::kPathRoom) {
        SearchPath folders(process);
        folders.addThoseOf(path);
        folders.use(process);
    }
}

// For a host that uses dbghelp itself and has opened it for this process with the usual handle.
bool initialiseAnew() {
    const HANDLE self = GetCurrentProcess();
    return DuplicateHandle(self, self, self, &process, 0, FALSE, DUPLICATE_SAME_ACCESS) &&
           initialise(process, true);
}

// dbghelp names the nearest symbol below the address, however far away. The symbol is the right one
// if it stands in the same function.
bool isRight(const SYMBOL_INFO& symbol, std::uint64_t address, std::uint64_t base,
             const PeImage& image) {
    constexpr ULONG kFunction = 5; // SymTagFunction
    std::uint32_t begin = 0;
    if (image.functionBegin(static_cast<std::uint32_t>(address - base), begin)) {
        return symbol.Address >= base + begin && symbol.Address <= address;
    }
    return symbol.Tag == kFunction && address - symbol.Address < symbol.Size;
}

void lookUp(HANDLE session, std::uint64_t address, std::uint64_t base, const PeImage& image,
            bool isReturnAddress, SourcePlace& place) {
    place = {};
    const std::uint64_t instruction = isReturnAddress ? address - 1 : address;
    alignas(SYMBOL_INFO) char memory[sizeof(SYMBOL_INFO) + SourcePlace::kNameRoom] = {};
    auto& symbol = *reinterpret_cast<SYMBOL_INFO*>(memory);
    symbol.SizeOfStruct = sizeof symbol;
    symbol.MaxNameLen = SourcePlace::kNameRoom;
    DWORD64 displacement = 0;
    if (SymFromAddr(session, instruction, &displacement, &symbol)) {
        if (!isRight(symbol, instruction, base, image)) {
            return;
        }
        copyCut(place.symbol, symbol.Name);
        place.displacement = address - symbol.Address;
    }
    IMAGEHLP_LINE64 line = {};
    line.SizeOfStruct = sizeof line;
    DWORD columns = 0;
    if (SymGetLineFromAddr64(session, instruction, &columns, &line) && line.FileName != nullptr) {
        copyCut(place.file, line.FileName);
        place.line = line.LineNumber;
    }
}

// The module of this process that an address belongs to; null if none.
HMODULE moduleAt(std::uintptr_t address) {
    MEMORY_BASIC_INFORMATION region;
    const bool isKnown =
        VirtualQuery(reinterpret_cast<const void*>(address), &region, sizeof region) != 0;
    return isKnown && region.Type == MEM_IMAGE ? static_cast<HMODULE>(region.AllocationBase)
                                               : nullptr;
}

PeImage imageOf(HMODULE module) {
    // The headers are in the first page and tell how much follows.
    constexpr std::size_t kPage = 4096;
    const PeImage headers(module, kPage, PeImage::Layout::mapped);
    return headers.isValid() ? PeImage(module, headers.sizeInMemory(), PeImage::Layout::mapped)
                             : headers;
}

class FileMapping {
public:
    explicit FileMapping(const wchar_t* path)
        : file_(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                            OPEN_EXISTING, 0, nullptr)) {
        LARGE_INTEGER size;
        if (!file_ || GetFileType(file_.get()) != FILE_TYPE_DISK ||
            !GetFileSizeEx(file_.get(), &size) || size.QuadPart <= 0) {
            return;
        }
        mapping_ = Handle(CreateFileMappingW(file_.get(), nullptr, PAGE_READONLY, 0, 0, nullptr));
        if (mapping_) {
            bytes_ = MapViewOfFile(mapping_.get(), FILE_MAP_READ, 0, 0, 0);
            size_ = static_cast<std::size_t>(size.QuadPart);
        }
    }
    ~FileMapping() {
        if (bytes_ != nullptr) {
            UnmapViewOfFile(bytes_);
        }
    }
    FileMapping(const FileMapping&) = delete;
    FileMapping& operator=(const FileMapping&) = delete;

    PeImage image() const {
        return bytes_ != nullptr ? PeImage(bytes_, size_, PeImage::Layout::file) : PeImage();
    }

    std::int64_t changeTime() const {
        FILETIME written = {};
        GetFileTime(file_.get(), nullptr, nullptr, &written);
        return secondsOf(written);
    }

private:
    Handle file_;
    Handle mapping_;
    const void* bytes_ = nullptr;
    std::size_t size_ = 0;
};

class PeModule final : public ModuleFile {
public:
    explicit PeModule(const wchar_t* path) : path_(path), file_(path), image_(file_.image()) {}

    ~PeModule() override {
        if (base_ != 0) {
            SymUnloadModule64(fileSession(), base_);
        }
    }

    bool isOpen() const { return image_.isValid(); }

    std::int64_t changeTime() const override { return file_.changeTime(); }
    bool mayBeginAt(std::uint32_t base) const override { return base % 65536 == 0; }
    std::uint32_t size() const override { return image_.sizeInMemory(); }

    bool addressOf(unsigned section, std::uint32_t offset, std::uint32_t& address) const override {
        return image_.addressOf(section, offset, address);
    }

    void placeOf(std::uint32_t address, unsigned& section, std::uint32_t& offset) const override {
        offset = 0;
        section = image_.sectionAt(address, offset);
    }

    void source(std::uint32_t address, bool isReturnAddress, SourcePlace& place) override {
        place = {};
        if (load()) {
            lookUp(fileSession(), base_ + address, base_, image_, isReturnAddress, place);
        }
    }

private:
    // Modules of a session may not overlap. Each one gets addresses of its own.
    bool load() {
        if (base_ == 0) {
            static DWORD64 next = 0x100'0000'0000;
            constexpr DWORD64 kGap = 0x1'0000'0000;
            static const SearchPath usual(fileSession());
            SearchPath folders = usual;
            folders.addThoseOf(path_.c_str());
            folders.use(fileSession());
            base_ = SymLoadModuleExW(fileSession(), nullptr, path_.c_str(), nullptr, next, size(),
                                     nullptr, 0);
            next += kGap;
        }
        return base_ != 0;
    }

    std::wstring path_;
    FileMapping file_;
    PeImage image_;
    DWORD64 base_ = 0;
};

// Whether the path is on a drive, and not on a device or another machine: the author of a report
// must not choose which machines this one talks to.
bool isLocalPath(const wchar_t* path) {
    const wchar_t drive = path[0];
    const bool isLetter = (drive >= L'A' && drive <= L'Z') || (drive >= L'a' && drive <= L'z');
    return isLetter && path[1] == L':' && (path[2] == L'\\' || path[2] == L'/');
}

} // namespace

HANDLE startSymbols() {
    process = GetCurrentProcess();
    if (!initialise(process, true) && !initialiseAnew()) {
        return nullptr;
    }
    searchForThisLibrary();
    return process;
}

void endSymbols() {
    SymCleanup(process);
}

void findModule(std::uintptr_t address, ModulePlace& place) {
    place = {};
    const HMODULE module = moduleAt(address);
    if (module == nullptr) {
        return;
    }
    wchar_t path[ModulePlace::kPathRoom / 2];
    const DWORD length = GetModuleFileNameW(module, path, ModulePlace::kPathRoom / 2);
    if (length > 0) {
        fromWide(path, place.module, sizeof place.module);
    }
    const PeImage image = imageOf(module);
    if (image.isValid()) {
        const auto offset = address - reinterpret_cast<std::uintptr_t>(module);
        place.section = image.sectionAt(static_cast<std::uint32_t>(offset), place.offset);
    }
}

void findSource(std::uintptr_t address, bool isReturnAddress, SourcePlace& place) {
    const HMODULE module = moduleAt(address);
    const PeImage image = module != nullptr ? imageOf(module) : PeImage();
    place = {};
    if (image.isValid()) {
        lookUp(process, address, reinterpret_cast<std::uintptr_t>(module), image, isReturnAddress,
               place);
    }
}

std::unique_ptr<ModuleFile> ModuleFile::open(const char* path) {
    wchar_t wide[ModulePlace::kPathRoom];
    if (!toWide(path, wide, ModulePlace::kPathRoom) || !isLocalPath(wide)) {
        return nullptr;
    }
    auto module = std::make_unique<PeModule>(wide);
    return module->isOpen() ? std::move(module) : nullptr;
}

bool openSymbolFiles() {
    static const bool isOpen = initialise(fileSession(), false);
    return isOpen;
}

} // namespace platform

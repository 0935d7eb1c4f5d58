// The modules that a crash report names.
#pragma once

#include "platform/symbols.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace core {

// Opens modules' files, each only once. The number of look-ups is limited, because a report may
// name any number of files. Each report has an object of its own, so none uses up another's share.
class ModuleFiles {
public:
    // The longest beginning of the text, up to its end or a space, that is the path of a module;
    // null if there is none.
    platform::ModuleFile* find(std::string_view text, std::string_view& path);

private:
    static constexpr int kMostCandidates = 64; // tried for one text
    static constexpr std::size_t kMostPaths = 4096;
    static constexpr std::size_t kMostModules = 256;

    platform::ModuleFile* open(std::string_view path);

    std::map<std::string, std::unique_ptr<platform::ModuleFile>, std::less<>> files_;
    std::size_t modules_ = 0;
};

// Where modules were in the process that died, as far as its report tells.
class ModuleBases {
public:
    void add(platform::ModuleFile& file, std::string_view path, std::uint32_t base);

    struct Found {
        platform::ModuleFile* file = nullptr; // null if no module was there, or more than one
        std::string_view path;
        std::uint32_t address = 0; // from the module's beginning
    };
    Found find(std::uint32_t address) const;

private:
    static constexpr std::size_t kMost = 256;

    struct Base {
        platform::ModuleFile* file;
        std::string_view path;
        std::uint32_t base;
    };

    std::vector<Base> bases_;
};

} // namespace core

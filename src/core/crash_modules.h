// The modules that a crash report speaks of.
#pragma once

#include "platform/symbols.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace core {

// Finds modules' files, each once. The number of look-ups is limited: a report may name as many
// files as it likes. One for each report, so that none uses up another's share.
class ModuleFiles {
public:
    // The longest beginning of the text, up to its end or a space, that is the path of a module;
    // null if there is none.
    platform::ModuleFile* find(std::string_view text, std::string_view& path);

private:
    static constexpr int kMostCandidates = 64; // of one text
    static constexpr std::size_t kMostPaths = 4096;
    static constexpr std::size_t kMostModules = 256;

    platform::ModuleFile* open(std::string_view path);

    std::map<std::string, std::unique_ptr<platform::ModuleFile>, std::less<>> files_;
    std::size_t modules_ = 0;
};

// Where modules lay in the process that died, as far as its report tells.
class ModuleBases {
public:
    void add(platform::ModuleFile& file, std::string_view path, std::uint32_t base);

    struct Found {
        platform::ModuleFile* file = nullptr; // null if no module, or more than one, was there
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

#include "core/crash_modules.h"

#include <algorithm>

namespace core {

platform::ModuleFile* ModuleFiles::find(std::string_view text, std::string_view& path) {
    std::size_t end = text.size();
    for (int left = kMostCandidates; end != std::string_view::npos && end > 0 && left > 0; --left) {
        path = text.substr(0, end);
        if (platform::ModuleFile* file = open(path)) {
            return file;
        }
        end = text.rfind(' ', end - 1);
    }
    path = {};
    return nullptr;
}

platform::ModuleFile* ModuleFiles::open(std::string_view path) {
    if (const auto known = files_.find(path); known != files_.end()) {
        return known->second.get();
    }
    if (files_.size() >= kMostPaths || modules_ >= kMostModules ||
        path.find('\0') != std::string_view::npos) {
        return nullptr;
    }
    const std::string name(path);
    auto file = platform::ModuleFile::open(name.c_str());
    modules_ += file ? 1U : 0U;
    return files_.emplace(name, std::move(file)).first->second.get();
}

void ModuleBases::add(platform::ModuleFile& file, std::string_view path, std::uint32_t base) {
    const bool isKnown = std::any_of(bases_.begin(), bases_.end(), [&](const Base& known) {
        return known.file == &file && known.base == base;
    });
    if (!isKnown && bases_.size() < kMost) {
        bases_.push_back({&file, path, base});
    }
}

ModuleBases::Found ModuleBases::find(std::uint32_t address) const {
    Found found;
    for (const Base& base : bases_) {
        if (address - base.base < base.file->size()) {
            if (found.file != nullptr) {
                return {};
            }
            found = {base.file, base.path, address - base.base};
        }
    }
    return found;
}

} // namespace core

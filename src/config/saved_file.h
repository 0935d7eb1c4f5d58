// The file that a tree was read from, and saving to it and to others.
#pragma once

#include "Config/ConfigParser.h"
#include "platform/files.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace qz::config {

class SavedFile {
public:
    // Whether the contents that are replaced have to be those that are known.
    enum class Overwrite { anything, onlyWhatIsKnown };

    // The file was read, and held this.
    void wasRead(std::string name, std::string_view contents) noexcept;

    const std::string& name() const { return name_; }

    // To this file or another one. Throws std::bad_alloc.
    ConfigParser::SaveResult save(const std::string& name, std::string_view text,
                                  Overwrite overwrite);

    // Why the last save was kFileFailed.
    platform::SystemError error() const { return error_; }

private:
    // Stands for contents that would take too much memory to keep.
    struct Fingerprint {
        Fingerprint() = default;
        explicit Fingerprint(std::string_view contents) noexcept;

        bool operator==(const Fingerprint&) const = default;

        std::size_t size = 0;
        std::size_t hash = 0;
    };

    bool isAsKnown() const;

    std::string name_; // empty: no file was read yet
    Fingerprint known_;
    platform::SystemError error_ = 0;
};

} // namespace qz::config

// The file that a tree was read from, and saving to it and to others.
#pragma once

#include "Config/ConfigParser.h"
#include "platform/files.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qz::config {

class SavedFile {
public:
    // Whether the contents that are replaced have to be those that are known.
    enum class Overwrite { anything, onlyWhatIsKnown };

    // Another text is about to be read: of a file, or of none. Until it was, nothing is known of
    // what files hold. Throws std::bad_alloc.
    void forget() noexcept { known_.reset(); }
    void willRead(const std::string& name) { unread_ = name; }

    // That file was read, and held this.
    void wasRead(std::string_view contents) noexcept;

    const std::string& name() const { return name_; }

    // To this file or another one. Throws std::bad_alloc.
    ConfigParser::SaveResult save(const std::string& name, std::string_view text,
                                  Overwrite overwrite);

    // Why the last save was kFileFailed.
    platform::SystemError error() const { return error_; }

private:
    // Stands for contents that would take too much memory to keep.
    struct Fingerprint {
        explicit Fingerprint(std::string_view contents) noexcept;

        bool operator==(const Fingerprint&) const = default;

        std::size_t size;
        std::size_t hash;
    };

    // kSaved if it may be replaced.
    ConfigParser::SaveResult compare(const std::string& name);
    ConfigParser::SaveResult replace(const std::string& name, std::string_view text);

    std::string name_;                 // empty: no file was read yet
    std::string unread_;               // the file that could not be read last
    std::optional<Fingerprint> known_; // of `name_`
    platform::SystemError error_ = 0;
};

} // namespace qz::config

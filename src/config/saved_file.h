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
    // Whether only contents that are known may be replaced.
    enum class Overwrite { anything, onlyWhatIsKnown };

    // forget() is called before another text is read, and willRead() before that is read from a
    // file. Until wasRead() nothing is known of what files hold. willRead() throws std::bad_alloc.
    void forget() noexcept {
        known_.reset();
        made_.clear();
    }
    void willRead(const std::string& name) { unread_ = name; }

    // The file of willRead() was read and held these contents.
    void wasRead(std::string_view contents) noexcept;

    const std::string& name() const { return name_; }

    // Saves to this file or another one. Throws std::bad_alloc.
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

    bool knows(const std::string& name) const;

    // kSaved if the file may be replaced.
    ConfigParser::SaveResult compare(const std::string& name);
    ConfigParser::SaveResult replace(const std::string& name, std::string_view text);

    std::string name_;                 // empty: no file was read yet
    std::string unread_;               // the file that was to be read last, until it was
    std::string made_;                 // a file that could not be read, and was saved to since
    std::optional<Fingerprint> known_; // contents of `made_`, or else of `name_`
    platform::SystemError error_ = 0;
};

} // namespace qz::config

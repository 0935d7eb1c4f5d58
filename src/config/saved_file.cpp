#include "config/saved_file.h"

#include "config/source_text.h"
#include "platform/save_turn.h"
#include "platform/whole_file.h"

#include <functional>
#include <optional>
#include <utility>

namespace qz::config {

using Result = ConfigParser::SaveResult;

SavedFile::Fingerprint::Fingerprint(std::string_view contents) noexcept
    : size(contents.size()), hash(std::hash<std::string_view>()(contents)) {}

void SavedFile::wasRead(std::string_view contents) noexcept {
    name_ = std::exchange(unread_, {});
    made_.clear();
    known_ = Fingerprint(contents);
}

bool SavedFile::knows(const std::string& name) const {
    return known_ && name == (made_.empty() ? name_ : made_);
}

Result SavedFile::save(const std::string& name, std::string_view text, Overwrite overwrite) {
    const bool isStrange = name != name_ && name != unread_ && !knows(name);
    if (overwrite == Overwrite::anything || isStrange) {
        return replace(name, text);
    }
    // If the turn does not come in time, this saves without it, but still compares.
    const platform::SaveTurn turn(pathOf(name));
    const Result result = compare(name);
    return result == Result::kSaved ? replace(name, text) : result;
}

// A file that is gone may be replaced, because nothing can be lost.
Result SavedFile::compare(const std::string& name) {
    if (platform::pathKind(pathOf(name)) == platform::PathKind::missing) {
        return Result::kSaved;
    }
    if (!knows(name)) {
        return Result::kFileUnknown;
    }
    SourceText::Failure failure{};
    const std::optional<SourceText> now = SourceText::read(name, failure);
    if (!now && failure.error != 0) {
        error_ = failure.error;
        return Result::kFileFailed;
    }
    return now && Fingerprint(now->view()) == known_ ? Result::kSaved : Result::kFileChanged;
}

Result SavedFile::replace(const std::string& name, std::string_view text) {
    const platform::Replacement replacement = platform::replaceContents(pathOf(name), text);
    error_ = replacement.error;
    if (!replacement) {
        return Result::kFileFailed;
    }
    if (name == unread_) {
        made_ = std::exchange(unread_, {});
        known_ = Fingerprint(text);
    } else if (name == name_) {
        made_.clear();
        known_ = Fingerprint(text);
    } else if (knows(name)) {
        known_ = Fingerprint(text);
    }
    return Result::kSaved;
}

} // namespace qz::config

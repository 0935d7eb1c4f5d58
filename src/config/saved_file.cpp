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

void SavedFile::wasRead(std::string name, std::string_view contents) noexcept {
    name_ = std::move(name);
    known_ = Fingerprint(contents);
}

Result SavedFile::save(const std::string& name, std::string_view text, Overwrite overwrite) {
    const platform::SaveTurn turn(name.c_str());
    if (!turn.isMine()) {
        return Result::kFileBusy;
    }
    const bool isThis = name == name_;
    if (isThis && overwrite == Overwrite::onlyWhatIsKnown && !isAsKnown()) {
        return Result::kFileChanged;
    }
    const platform::Replacement replacement = platform::replaceContents(name.c_str(), text);
    error_ = replacement.error;
    if (!replacement) {
        return Result::kFileFailed;
    }
    if (isThis) {
        known_ = Fingerprint(text);
    }
    return Result::kSaved;
}

// Nothing is lost where there is no file any more.
bool SavedFile::isAsKnown() const {
    if (platform::pathKind(name_.c_str()) == platform::PathKind::missing) {
        return true;
    }
    const std::optional<SourceText> now = SourceText::read(name_);
    return now && Fingerprint(now->view()) == known_;
}

} // namespace qz::config

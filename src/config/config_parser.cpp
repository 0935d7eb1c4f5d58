#include "Config/ConfigParser.h"

#include "config/edited_text.h"
#include "config/error_text.h"
#include "config/lexical_analyser.h"
#include "config/path.h"
#include "config/saved_file.h"
#include "config/syntactic_analyser.h"
#include "config/tree.h"
#include "config/vocabulary.h"
#include "config/writer.h"
#include "core/library_log.h"
#include "platform/thread.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>
#include <optional>

using namespace qz::config;

const char* ConfigParser::Error::what() const noexcept {
    return message.c_str();
}

void ConfigParser::Error::reset() {
    message.clear();
    line = -1;
    column = -1;
}

namespace {

// Both analysers, and the token that matches names.
struct Analysers {
    Analysers()
        : lexical(withVocabulary()), syntactic(lexical), names(lexical.find(IdentifierToken())) {}

    static LexicalAnalyser withVocabulary() {
        LexicalAnalyser lexical;
        addVocabulary(lexical);
        return lexical;
    }

    const LexicalAnalyser lexical;
    const SyntacticAnalyser syntactic;
    const std::shared_ptr<const IdentifierToken> names;
};

enum class Origin { file, memory };

} // namespace

struct QZ_LOCAL ConfigParser::Impl {
    Impl() {
        try {
            analysers.emplace();
        } catch (const std::bad_alloc&) {
            analysers.reset(); // isInitialized reports it
        }
    }

    // `read` returns the text, or nothing.
    template<class Read>
    bool parse(Read read, Origin origin);
    std::optional<SourceText> readFile(const std::string& name);
    void locate(const Place& place);
    bool setPath(const std::string& path, const Value& value);

    // `build` makes the text, and `save` puts it to its destination.
    using Build = bool (Impl::*)(std::string&) const;
    template<class Save>
    bool save(Build build, Save save);
    bool saveFile(const std::string& name, Build build, SavedFile::Overwrite overwrite);
    bool saveBuffer(char** buffer, int& length, Build build);
    bool buildWithLineFeeds(std::string& text) const { return buildWhole("\n", text); }
    bool buildForFile(std::string& text) const { return buildWhole("\r\n", text); }
    bool buildEdited(std::string& text) const;
    bool buildWhole(const char* lineEnd, std::string& text) const;

    std::optional<Analysers> analysers;
    Tree tree;
    SavedFile file;
    Error error;
    bool isErrorLineFeed = false;
    std::string unread;                   // why there was no text to parse
    std::optional<SaveResult> saveResult; // none: nothing was saved yet
};

template<class Read>
bool ConfigParser::Impl::parse(Read read, Origin origin) {
    error.reset();
    isErrorLineFeed = false;
    unread.clear();
    tree.clear(); // before the next text is read: both may be large
    file.forget();
    if (!analysers) {
        return false;
    }
    try {
        std::optional<SourceText> text = read();
        if (!text) {
            if (unread.empty()) {
                unread = "there is no text, or it is too long";
            }
            return false;
        }
        tree.setSource(std::move(*text));
        analysers->syntactic.analyse(analysers->lexical.analyse(tree.source()), tree);
        return true;
    } catch (const LexicalAnalyser::Error& failure) {
        locate(failure.where());
        isErrorLineFeed = tree.source().substr(failure.where().offset).starts_with('\n');
        if (origin == Origin::memory) {
            error.line = -1;
        }
    } catch (const SyntacticAnalyser::Error& failure) {
        error.message = failure.what();
        if (failure.where().length > 0) {
            locate(failure.where());
        }
    } catch (const std::exception&) {
        error.message = "Out of memory";
    }
    tree.clear();
    return false;
}

std::optional<SourceText> ConfigParser::Impl::readFile(const std::string& name) {
    SourceText::Failure failure{};
    std::optional<SourceText> text = SourceText::read(name, failure);
    if (!text) {
        qz_logf("QZCORE", QZ_LOG_ERROR, "LexicalAnalyser: Cannot %s %s", failure.verb,
                name.c_str());
        const char* const problem =
            failure.error != 0 ? "cannot be read" : "is too long, or became shorter meanwhile";
        unread = withReason(problem, failure.error);
    }
    return text;
}

void ConfigParser::Impl::locate(const Place& place) {
    error.line = tree.sourceText().lineOf(place.offset);
    error.column = static_cast<int>(place.offset);
}

bool ConfigParser::Impl::setPath(const std::string& path, const Value& value) {
    try {
        return analysers && fits(path) && valueFits(value) &&
               qz::config::setPath(tree, *analysers->names, path, value);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool ConfigParser::Impl::buildWhole(const char* lineEnd, std::string& text) const {
    Writer writer(*analysers->names, lineEnd, Writer::Reals::tenDigits);
    const bool isWritten = writer.addEntries(tree.root().entries);
    text = std::move(writer.text());
    return isWritten;
}

bool ConfigParser::Impl::buildEdited(std::string& text) const {
    return EditedText(tree, *analysers->names).build(text);
}

// `save` gets the text and returns what has become of it.
template<class Save>
bool ConfigParser::Impl::save(Build build, Save save) {
    const platform::NoCancellation guard;
    saveResult = kOutOfMemory;
    if (!analysers) {
        return false;
    }
    try {
        std::string text;
        const bool isBuilt = (this->*build)(text) && text.size() <= kLongestText;
        saveResult = isBuilt ? save(text) : kTreeUnreadable;
    } catch (const std::exception&) {
        return false; // out of memory
    }
    return saveResult == kSaved;
}

bool ConfigParser::Impl::saveFile(const std::string& name, Build build,
                                  SavedFile::Overwrite overwrite) {
    if (name.empty()) {
        saveResult = kNowhere;
        return false;
    }
    return save(build, [&](const std::string& text) { return file.save(name, text, overwrite); });
}

bool ConfigParser::Impl::saveBuffer(char** buffer, int& length, Build build) {
    if (buffer == nullptr) {
        saveResult = kNowhere;
        return false;
    }
    return save(build, [&](const std::string& text) {
        if (text.size() == INT_MAX) {
            return kTreeUnreadable; // no int can say its length with the zero byte
        }
        const std::size_t size = text.size() + 1;
        *buffer = new char[size];
        std::copy_n(text.c_str(), size, *buffer);
        length = static_cast<int>(size);
        return kSaved;
    });
}

ConfigParser::ConfigParser() : impl_(std::make_unique<Impl>()) {}

ConfigParser::~ConfigParser() = default;

bool ConfigParser::parse(const std::string& fileName) {
    const platform::NoCancellation guard;
    const auto read = [&] {
        impl_->file.willRead(fileName);
        return impl_->readFile(fileName);
    };
    if (!impl_->parse(read, Origin::file)) {
        return false;
    }
    impl_->file.wasRead(impl_->tree.source());
    return true;
}

bool ConfigParser::parse(const char* text, int length) {
    const auto copy = [&]() -> std::optional<SourceText> {
        if (text == nullptr) {
            return std::nullopt;
        }
        const std::size_t size = length < 1 ? std::strlen(text) : static_cast<std::size_t>(length);
        return size > INT_MAX ? std::nullopt : std::optional(SourceText::copyOf({text, size}));
    };
    return impl_->parse(copy, Origin::memory);
}

bool ConfigParser::save() {
    return save(impl_->file.name());
}

bool ConfigParser::save(const std::string& fileName) {
    return impl_->saveFile(fileName, &Impl::buildForFile, SavedFile::Overwrite::anything);
}

bool ConfigParser::save(char** buffer, int& length) {
    return impl_->saveBuffer(buffer, length, &Impl::buildWithLineFeeds);
}

bool ConfigParser::saveEdited() {
    return saveEdited(impl_->file.name());
}

bool ConfigParser::saveEdited(const std::string& fileName) {
    return impl_->saveFile(fileName, &Impl::buildEdited, SavedFile::Overwrite::onlyWhatIsKnown);
}

bool ConfigParser::saveEdited(char** buffer, int& length) {
    return impl_->saveBuffer(buffer, length, &Impl::buildEdited);
}

ConfigParser::SaveResult ConfigParser::getSaveResult() const {
    return impl_->saveResult.value_or(kSaved);
}

std::string ConfigParser::getSaveText() const {
    if (!impl_->saveResult) {
        return "nothing was saved yet";
    }
    switch (*impl_->saveResult) {
    case kSaved:
        return "saved";
    case kNowhere:
        return "there is neither a file name nor a buffer";
    case kTreeUnreadable:
        return "the text could not be read again: an empty block or list, a real that is not "
               "finite, a name that is no identifier, braces that are too deep, or too long";
    case kFileChanged:
        return "somebody has changed the file since it was read";
    case kFileUnknown:
        return "the file was not read, so that nobody knows what would be lost";
    case kOutOfMemory:
        return "out of memory";
    case kFileFailed:
        break;
    }
    return withReason("the file cannot be replaced", impl_->file.error());
}

void ConfigParser::reset() {
    impl_->tree.clear();
    impl_->file.forget();
}

ConfigParser::iterator ConfigParser::begin() {
    Entry& root = impl_->tree.root();
    return {&impl_->tree, &root, root.entries.first};
}

ConfigParser::iterator ConfigParser::end() {
    return {&impl_->tree, &impl_->tree.root(), nullptr};
}

ConfigParser::iterator ConfigParser::find(const std::string& name) {
    Entry& root = impl_->tree.root();
    return {&impl_->tree, &root, findName(root, name)};
}

ConfigParser::iterator ConfigParser::findPath(const std::string& path) {
    const FoundEntry found = qz::config::findPath(impl_->tree.root(), path);
    return found.entry == nullptr ? end() : iterator(&impl_->tree, found.list, found.entry);
}

bool ConfigParser::setPath(const std::string& path, int value) {
    return impl_->setPath(path, value);
}

bool ConfigParser::setPath(const std::string& path, double value) {
    return impl_->setPath(path, value);
}

bool ConfigParser::setPath(const std::string& path, const std::string& value) {
    return impl_->setPath(path, value);
}

bool ConfigParser::isInitialized() const {
    return impl_->analysers.has_value();
}

bool ConfigParser::getLastError(Error& error) const {
    if (!isInitialized()) {
        return false;
    }
    error = impl_->error;
    return true;
}

int ConfigParser::getErrorLine() const {
    return impl_->error.line;
}

int ConfigParser::getErrorColumn() const {
    return impl_->error.column;
}

std::string ConfigParser::getErrorText() const {
    if (!isInitialized()) {
        return "out of memory";
    }
    return impl_->unread.empty() ? describeFailure(impl_->error, impl_->isErrorLineFeed)
                                 : impl_->unread;
}

bool ConfigParser::isErrorLineFeed() const {
    return impl_->isErrorLineFeed;
}

#include "Config/SettingsReader.h"

#include "config/setting_words.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <unordered_map>

using qz::SettingsReader;
using namespace qz::config;
using iterator = ConfigParser::iterator;

namespace {

std::string join(const std::string& path, const std::string& part) {
    return path.empty() ? part : path + "." + part;
}

bool isNumber(std::string_view part) {
    return part.find_first_not_of("0123456789") == std::string_view::npos;
}

} // namespace

// Where a path leads.
struct SettingsReader::Place {
    std::optional<iterator> entry; // none: the whole file
    std::string path;
    int line = -1; // of the entry or, if it is missing, of the last one on the way

    bool isMissing() const { return entry && entry->isEnd(); }
    bool isBlock() const { return !entry || entry->getType() == iterator::kBlock; }
    bool isList() const { return entry && entry->getType() == iterator::kList; }
};

// What all readers of a file share.
struct SettingsReader::State {
    // What was asked for of an entry: whether it exists, some of its entries, or all of it.
    enum class Use { presence, outside, whole };

    void add(const Place& place, const std::string& text) {
        problems.push_back({file, place.line, place.path, text});
    }

    void addWrong(const Place& place, const std::string& wanted) {
        add(place, "must be " + wanted + ", not " + describe(*place.entry));
    }

    // The entry's use: presence if nothing was asked for yet. Null if it is missing or the file.
    Use* ask(const Place& place) {
        return place.entry && !place.isMissing() ? &uses[**place.entry] : nullptr;
    }

    // Asks for all of an entry; false if it is missing.
    bool take(const Place& place) {
        Use* const use = ask(place);
        if (use != nullptr) {
            *use = Use::whole;
        }
        return use != nullptr;
    }

    // Notes that something in the entry is asked for, and returns whether the entry has the type
    // that this takes. Another type is a problem, which is added the first time only.
    bool enter(const Place& place, bool hasType, const char* type) {
        Use* const use = ask(place);
        if (use != nullptr && *use == Use::presence) {
            *use = hasType ? Use::outside : Use::whole;
            if (!hasType) {
                addWrong(place, type);
            }
        }
        return hasType;
    }
    bool enterBlock(const Place& place) { return enter(place, place.isBlock(), "a block"); }
    bool enterList(const Place& place) { return enter(place, place.isList(), "a list"); }

    void addUnasked(const Place& list, std::vector<Problem>& found) const;

    iterator begin(const Place& place) const {
        return place.entry ? place.entry->begin() : config.begin();
    }

    ConfigParser& config;
    std::string file;
    bool isParsed = false;
    std::vector<Problem> problems = {};
    std::unordered_map<const Entry*, Use> uses = {};
};

void SettingsReader::State::addUnasked(const Place& list, std::vector<Problem>& found) const {
    std::unordered_map<std::string, int> lines; // of the entries that were asked for, by name
    std::size_t number = 0;
    for (iterator entry = begin(list); !entry.isEnd(); ++entry, ++number) {
        const std::string name = list.isList() ? textOf(number) : entry.name();
        const Place place{entry, join(list.path, name), entry.line()};
        const auto use = uses.find(*entry);
        if (use == uses.end()) {
            const auto known = lines.find(name);
            found.push_back({file, place.line, place.path,
                             known == lines.end()
                                 ? "is no setting"
                                 : "is there already, in line " + textOf(known->second)});
            continue;
        }
        lines.emplace(name, place.line);
        const bool isRequiredBlock = use->second == Use::presence && place.isBlock();
        if (use->second == Use::outside || isRequiredBlock) {
            addUnasked(place, found);
        }
    }
}

std::string SettingsReader::Problem::message() const {
    const std::string where = line < 0 ? file : file + ":" + textOf(line);
    return where + ": " + (path.empty() ? text : path + " " + text);
}

SettingsReader::SettingsReader(ConfigParser& config, const std::string& file)
    : state_(std::make_shared<State>(State{config, file})) {
    start_(config.parse(file));
}

SettingsReader::SettingsReader(ConfigParser& config, const std::string& name, const char* text,
                               int length)
    : state_(std::make_shared<State>(State{config, name})) {
    start_(config.parse(text, length));
}

void SettingsReader::start_(bool isParsed) {
    state_->isParsed = isParsed;
    if (!isParsed) {
        const ConfigParser& config = state_->config;
        state_->problems.push_back(
            {state_->file, config.getErrorLine(), {}, config.getErrorText()});
    }
}

SettingsReader::SettingsReader(std::shared_ptr<State> state, const Place& place)
    : state_(std::move(state)), entry_(place.entry), path_(place.path), line_(place.line) {}

// Finds the place, and asks for the entries on the way.
SettingsReader::Place SettingsReader::find_(const std::string& path) const {
    Place place{entry_, path_, line_};
    for (std::size_t begin = 0; begin <= path.size() && !path.empty();) {
        const std::size_t end = std::min(path.find('.', begin), path.size());
        const std::string part = path.substr(begin, end - begin);
        begin = end + 1;
        if (!place.entry) {
            place.entry = state_->config.findPath(part);
        } else if (!place.isMissing()) {
            const bool isItem = isNumber(part) && place.isList();
            const bool isEntered = isItem ? state_->enterList(place) : state_->enterBlock(place);
            place.entry = isEntered ? place.entry->findPath(part) : iterator();
        }
        place.path = join(place.path, part);
        place.line = place.isMissing() ? place.line : place.entry->line();
    }
    return place;
}

bool SettingsReader::readInt_(const std::string& path, int& value, long long least,
                              long long most) const {
    const Place place = find_(path);
    if (!state_->take(place)) {
        return false;
    }
    const Range<long long> range{least, most};
    int number = 0;
    if (!place.entry->get(number) || !range.has(number)) {
        state_->addWrong(place, describe("a whole number", range, {INT_MIN, INT_MAX}));
        return false;
    }
    value = number;
    return true;
}

template<class Real>
bool SettingsReader::readReal_(const std::string& path, Real& value, double least,
                               double most) const {
    const Place place = find_(path);
    if (!state_->take(place)) {
        return false;
    }
    constexpr auto kMost = static_cast<double>(std::numeric_limits<Real>::max());
    const Range<double> range{least, most};
    const Range<double> held{std::max(least, -kMost), std::min(most, kMost)};
    double number = 0;
    const bool isNumber = place.entry->get(number);
    const auto real = held.has(number) ? static_cast<Real>(number) : Real{};
    if (!isNumber || !held.has(number) || (real == 0 && !range.has(0))) {
        // A number that is too large for a float is told the float's limits.
        const bool isTooLarge = isNumber && range.has(number) && !held.has(number);
        const double unsaid = isNumber ? std::numeric_limits<double>::infinity() : kMost;
        state_->addWrong(place, describe("a number", isTooLarge ? held : range, {-unsaid, unsaid}));
        return false;
    }
    value = real;
    return true;
}

bool SettingsReader::read(const std::string& path, double& value, double least, double most) const {
    return readReal_(path, value, least, most);
}

bool SettingsReader::read(const std::string& path, float& value, double least, double most) const {
    return readReal_(path, value, least, most);
}

bool SettingsReader::read(const std::string& path, bool& value) const {
    const Place place = find_(path);
    if (!state_->take(place)) {
        return false;
    }
    int number = 0;
    if (!place.entry->get(number) || number < 0 || number > 1) {
        state_->addWrong(place, "true or false");
        return false;
    }
    value = number == 1;
    return true;
}

bool SettingsReader::read(const std::string& path, std::string& value) const {
    const Place place = find_(path);
    if (!state_->take(place)) {
        return false;
    }
    if (!place.entry->get(value)) {
        state_->addWrong(place, "a text");
        return false;
    }
    return true;
}

bool SettingsReader::readItems_(const std::string& path,
                                std::vector<SettingsReader>& readers) const {
    const Place list = find_(path);
    if (list.isMissing() || !state_->enterList(list)) {
        return false;
    }
    std::size_t number = 0;
    for (iterator item = list.entry->begin(); !item.isEnd(); ++item, ++number) {
        readers.push_back({state_, {item, join(list.path, textOf(number)), item.line()}});
    }
    return true;
}

std::vector<SettingsReader> SettingsReader::items(const std::string& path) const {
    std::vector<SettingsReader> readers;
    readItems_(path, readers);
    return readers;
}

SettingsReader SettingsReader::block(const std::string& path) const {
    Place place = find_(path);
    if (!place.isMissing() && !state_->enterBlock(place)) {
        place.entry = iterator();
    }
    return {state_, place};
}

std::vector<SettingsReader> SettingsReader::blocks(const std::string& path) const {
    const std::size_t dot = path.rfind('.');
    const bool isHere = dot == std::string::npos;
    const std::string name = isHere ? path : path.substr(dot + 1);
    const Place around = find_(isHere ? std::string() : path.substr(0, dot));
    std::vector<SettingsReader> readers;
    if (around.isMissing() || !state_->enterBlock(around)) {
        return readers;
    }
    for (iterator entry = state_->begin(around); !entry.isEnd(); ++entry) {
        const Place place{entry, join(around.path, name), entry.line()};
        if (entry.name() == name && state_->enterBlock(place)) {
            readers.push_back({state_, place});
        }
    }
    return readers;
}

iterator SettingsReader::find(const std::string& path) const {
    const Place place = find_(path);
    return state_->take(place) ? *place.entry : iterator();
}

bool SettingsReader::require(const std::string& path) const {
    const Place place = find_(path);
    state_->ask(place);
    if (place.isMissing() && state_->isParsed) {
        state_->add(place, "is missing");
    }
    return !place.isMissing();
}

void SettingsReader::addProblem(const std::string& path, const std::string& text) const {
    const Place place = find_(path);
    State::Use* const use = state_->ask(place);
    if (use != nullptr && *use == State::Use::presence) {
        *use = State::Use::whole;
    }
    state_->add(place, text);
}

std::vector<SettingsReader::Problem> SettingsReader::problems() const {
    std::vector<Problem> found = state_->problems;
    state_->addUnasked({}, found);
    std::stable_sort(found.begin(), found.end(), [](const Problem& left, const Problem& right) {
        return left.line < right.line;
    });
    return found;
}

std::string SettingsReader::report() const {
    std::string text;
    for (const Problem& problem : problems()) {
        text += problem.message() + "\n";
    }
    return text;
}

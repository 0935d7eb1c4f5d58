#include "config/path.h"
#include "config/tree.h"

#include <new>
#include <optional>
#include <string_view>
#include <variant>

using namespace qz::config;

namespace {

// The getters look at the type first, because an iterator may have no entry.
template<class Value>
Value orThrow(bool (ConfigParser::iterator::*read)(Value&) const,
              const ConfigParser::iterator& entry) {
    Value value{};
    if (!(entry.*read)(value)) {
        throw ConfigParser::Error();
    }
    return value;
}

} // namespace

ConfigParser::iterator& ConfigParser::iterator::operator++() {
    entry_ = entry_ == nullptr ? nullptr : entry_->next;
    return *this;
}

ConfigParser::iterator ConfigParser::iterator::operator++(int) {
    const iterator before = *this;
    ++*this;
    return before;
}

bool ConfigParser::iterator::operator==(const iterator& other) const {
    return list_ == other.list_ && entry_ == other.entry_;
}

const Entry* ConfigParser::iterator::operator*() const {
    return entry_;
}

bool ConfigParser::iterator::isEnd() const {
    return entry_ == nullptr;
}

bool ConfigParser::iterator::isLast() const {
    return entry_ != nullptr && entry_->next == nullptr;
}

ConfigParser::iterator ConfigParser::iterator::begin() const {
    const bool hasEntries = entry_ != nullptr && entry_->holdsEntries();
    return {tree_, entry_, hasEntries ? entry_->entries.first : nullptr};
}

ConfigParser::iterator ConfigParser::iterator::end() const {
    return {tree_, entry_, nullptr};
}

ConfigParser::iterator ConfigParser::iterator::find(const std::string& name) const {
    return {tree_, entry_, getType() == kBlock ? findName(*entry_, name) : nullptr};
}

ConfigParser::iterator ConfigParser::iterator::findPath(const std::string& path) const {
    const FoundEntry found = entry_ == nullptr ? FoundEntry{} : qz::config::findPath(*entry_, path);
    return found.entry == nullptr ? end() : iterator(tree_, found.list, found.entry);
}

int ConfigParser::iterator::line() const {
    return entry_ != nullptr && entry_->isOriginal ? tree_->lineOf(entry_->place) : -1;
}

std::string ConfigParser::iterator::name() const {
    return std::string(entry_ == nullptr ? std::string_view() : entry_->name());
}

bool ConfigParser::iterator::setName(const std::string& name) {
    if (entry_ == nullptr || !entry_->isNamed || !fits(name)) {
        return false;
    }
    try {
        tree_->rename(static_cast<NamedEntry&>(*entry_), name);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

ConfigParser::iterator::Type ConfigParser::iterator::getType() const {
    return entry_ == nullptr ? kUnknown : entry_->type;
}

bool ConfigParser::iterator::getInt(int& value) const {
    if (getType() != kInteger) {
        return false;
    }
    value = entry_->integer;
    return true;
}

bool ConfigParser::iterator::getDouble(double& value) const {
    if (getType() != kReal && getType() != kInteger) {
        return false;
    }
    value = getType() == kReal ? entry_->real : entry_->integer;
    return true;
}

bool ConfigParser::iterator::getFloat(float& value) const {
    double wide = 0;
    if (!getDouble(wide)) {
        return false;
    }
    value = static_cast<float>(wide);
    return true;
}

bool ConfigParser::iterator::getString(std::string& value) const {
    if (getType() != kString) {
        return false;
    }
    value = entry_->text();
    return true;
}

bool ConfigParser::iterator::getBool(bool& value) const {
    int number = 0;
    if (!getInt(number)) {
        return false;
    }
    value = number != 0;
    return true;
}

int ConfigParser::iterator::getInt() const {
    return orThrow<int>(&iterator::getInt, *this);
}

double ConfigParser::iterator::getDouble() const {
    return orThrow<double>(&iterator::getDouble, *this);
}

float ConfigParser::iterator::getFloat() const {
    return orThrow<float>(&iterator::getFloat, *this);
}

std::string ConfigParser::iterator::getString() const {
    return orThrow<std::string>(&iterator::getString, *this);
}

bool ConfigParser::iterator::getBool() const {
    return orThrow<bool>(&iterator::getBool, *this);
}

bool ConfigParser::iterator::setInt(int value) {
    return set_(value);
}

bool ConfigParser::iterator::setDouble(double value) {
    return set_(value);
}

bool ConfigParser::iterator::setFloat(float value) {
    return set_(static_cast<double>(value));
}

bool ConfigParser::iterator::setBool(bool value) {
    return set_(value ? 1 : 0);
}

bool ConfigParser::iterator::setString(const std::string& value) {
    return set_(value);
}

ConfigParser::iterator ConfigParser::iterator::insertBlock(const std::string& name) {
    return insert_(&name, EmptyBlock{});
}

ConfigParser::iterator ConfigParser::iterator::insertInt(const std::string& name, int value) {
    return insert_(&name, value);
}

ConfigParser::iterator ConfigParser::iterator::insertDouble(const std::string& name, double value) {
    return insert_(&name, value);
}

ConfigParser::iterator ConfigParser::iterator::insertFloat(const std::string& name, float value) {
    return insert_(&name, static_cast<double>(value));
}

ConfigParser::iterator ConfigParser::iterator::insertBool(const std::string& name, bool value) {
    return insert_(&name, value ? 1 : 0);
}

ConfigParser::iterator ConfigParser::iterator::insertString(const std::string& name,
                                                            const std::string& value) {
    return insert_(&name, value);
}

ConfigParser::iterator ConfigParser::iterator::insertInt(int value) {
    return insert_(nullptr, value);
}

ConfigParser::iterator ConfigParser::iterator::insertDouble(double value) {
    return insert_(nullptr, value);
}

ConfigParser::iterator ConfigParser::iterator::insertFloat(float value) {
    return insert_(nullptr, static_cast<double>(value));
}

ConfigParser::iterator ConfigParser::iterator::insertBool(bool value) {
    return insert_(nullptr, value ? 1 : 0);
}

ConfigParser::iterator ConfigParser::iterator::insertString(const std::string& value) {
    return insert_(nullptr, value);
}

ConfigParser::iterator ConfigParser::iterator::erase() {
    iterator next = *this;
    ++next;
    if (entry_ != nullptr) {
        tree_->erase(*list_, *entry_);
    }
    return next;
}

bool ConfigParser::iterator::set_(const Value& value) {
    if (entry_ == nullptr || entry_->type == kBlock || !valueFits(value)) {
        return false;
    }
    try {
        tree_->set(*entry_, value);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// Entries of the top level and of blocks have names, items of lists have none.
ConfigParser::iterator ConfigParser::iterator::insert_(const std::string* name,
                                                       const Value& value) {
    const Type place = name == nullptr ? kList : kBlock;
    if (list_ == nullptr || list_->type != place || !valueFits(value) ||
        (name != nullptr && !fits(*name))) {
        return end_();
    }
    try {
        const auto given = name == nullptr ? std::nullopt : std::optional<std::string_view>(*name);
        return {tree_, list_, &tree_->insert(*list_, entry_, given, value)};
    } catch (const std::bad_alloc&) {
        return end_();
    }
}

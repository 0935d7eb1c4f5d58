#include "config/tree.h"

#include <cstdint>
#include <limits>

using namespace qz::config;

namespace {

// Types are asked first: elsewhere the entry may be missing.
template<class Value>
Value orThrow(bool (ConfigParser::iterator::*read)(Value&) const,
              const ConfigParser::iterator& entry) {
    Value value{};
    if (!(entry.*read)(value)) {
        throw ConfigParser::Error();
    }
    return value;
}

bool fits(const std::string& text) {
    return text.size() <= std::numeric_limits<std::uint32_t>::max();
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
    iterator entry = getType() == kBlock ? begin() : end();
    while (!entry.isEnd() && entry.entry_->name() != name) {
        ++entry;
    }
    return entry;
}

std::string ConfigParser::iterator::name() const {
    return std::string(entry_ == nullptr ? std::string_view() : entry_->name());
}

bool ConfigParser::iterator::setName(const std::string& name) {
    if (entry_ == nullptr || !entry_->isNamed || !fits(name)) {
        return false;
    }
    tree_->rename(static_cast<NamedEntry&>(*entry_), name);
    return true;
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
    if (!holdsValue_()) {
        return false;
    }
    tree_->setInteger(*entry_, value);
    return true;
}

bool ConfigParser::iterator::setDouble(double value) {
    if (!holdsValue_()) {
        return false;
    }
    tree_->setReal(*entry_, value);
    return true;
}

bool ConfigParser::iterator::setFloat(float value) {
    return setDouble(static_cast<double>(value));
}

bool ConfigParser::iterator::setBool(bool value) {
    return setInt(value ? 1 : 0);
}

bool ConfigParser::iterator::setString(const std::string& value) {
    if (!holdsValue_() || !fits(value)) {
        return false;
    }
    tree_->setText(*entry_, value);
    return true;
}

ConfigParser::iterator ConfigParser::iterator::insertBlock(const std::string& name) {
    iterator entry = insertNamed_(name);
    if (!entry.isEnd()) {
        entry.entry_->type = kBlock;
    }
    return entry;
}

ConfigParser::iterator ConfigParser::iterator::insertInt(const std::string& name, int value) {
    iterator entry = insertNamed_(name);
    entry.setInt(value);
    return entry;
}

ConfigParser::iterator ConfigParser::iterator::insertDouble(const std::string& name, double value) {
    iterator entry = insertNamed_(name);
    entry.setDouble(value);
    return entry;
}

ConfigParser::iterator ConfigParser::iterator::insertFloat(const std::string& name, float value) {
    return insertDouble(name, static_cast<double>(value));
}

ConfigParser::iterator ConfigParser::iterator::insertBool(const std::string& name, bool value) {
    return insertInt(name, value ? 1 : 0);
}

ConfigParser::iterator ConfigParser::iterator::insertString(const std::string& name,
                                                            const std::string& value) {
    if (!fits(value)) {
        return end_();
    }
    iterator entry = insertNamed_(name);
    entry.setString(value);
    return entry;
}

ConfigParser::iterator ConfigParser::iterator::insertInt(int value) {
    iterator item = insertItem_();
    item.setInt(value);
    return item;
}

ConfigParser::iterator ConfigParser::iterator::insertDouble(double value) {
    iterator item = insertItem_();
    item.setDouble(value);
    return item;
}

ConfigParser::iterator ConfigParser::iterator::insertFloat(float value) {
    return insertDouble(static_cast<double>(value));
}

ConfigParser::iterator ConfigParser::iterator::insertBool(bool value) {
    return insertInt(value ? 1 : 0);
}

ConfigParser::iterator ConfigParser::iterator::insertString(const std::string& value) {
    if (!fits(value)) {
        return end_();
    }
    iterator item = insertItem_();
    item.setString(value);
    return item;
}

ConfigParser::iterator ConfigParser::iterator::erase() {
    iterator next = *this;
    ++next;
    if (entry_ != nullptr) {
        tree_->erase(*list_, *entry_);
    }
    return next;
}

bool ConfigParser::iterator::holdsValue_() const {
    return entry_ != nullptr && entry_->type != kBlock;
}

// An entry of no type yet, before this position; the end if this is no list of named entries.
ConfigParser::iterator ConfigParser::iterator::insertNamed_(const std::string& name) {
    if (list_ == nullptr || list_->type != kBlock || !fits(name)) {
        return end_();
    }
    Entry& entry = tree_->make(name);
    tree_->insert(*list_, entry_, entry);
    return {tree_, list_, &entry};
}

ConfigParser::iterator ConfigParser::iterator::insertItem_() {
    if (list_ == nullptr || list_->type != kList) {
        return end_();
    }
    Entry& item = tree_->make();
    tree_->insert(*list_, entry_, item);
    return {tree_, list_, &item};
}

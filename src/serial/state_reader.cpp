#include "serial/state_reader.h"

#include "serial/serializer_state.h"

#include <algorithm>
#include <limits>
#include <set>
#include <utility>

namespace serial {

bool NumberList::get(std::uint32_t& number, BitReader& in) {
    std::uint64_t distance = 0;
    if (readCompact(in, distance) != nullptr ||
        distance > std::numeric_limits<std::uint32_t>::max() - last_) {
        return false;
    }
    last_ += static_cast<std::uint32_t>(distance);
    number = distance == 0 ? 0 : last_;
    return true;
}

namespace {

using Common::Identifier;

bool refersToAny(const Image& image, const std::map<std::uint32_t, std::uint32_t>& numbers) {
    bool isOne = false;
    forEachReference(image,
                     [&](std::uint32_t number) { isOne = isOne || numbers.contains(number); });
    return isOne;
}

constexpr char kDamaged[] = "a state with a list that is none";

} // namespace

// A whole state begins without objects. Otherwise objects that have changed since the base line
// begin as they were there.
void StateReader::stage() {
    if (base_.state == 0) {
        for (Entry* const entry : history_.entries()) {
            items_.try_emplace(items_.end(), entry->number)->second.entry = entry;
        }
        return;
    }
    count_ = history_.count();
    bytes_ = history_.bytes();
    for (const Entry* const entry : history_.changedSince(base_.state)) {
        stage(entry->number);
    }
}

StateReader::Item& StateReader::stage(std::uint32_t number) {
    const auto [found, isNew] = items_.try_emplace(number);
    Item& item = found->second;
    if (isNew) {
        item.entry = history_.find(number);
        if (item.entry != nullptr && base_.state != 0) {
            item.version = item.entry->at(base_.state);
            item.baseSum = item.version.sum;
        }
        bytes_ -= item.entry != nullptr && base_.state != 0 ? item.entry->last().bytes() : 0;
        count_ += item.version.object ? 1U : 0U;
        count_ -= item.entry != nullptr && item.entry->object ? 1U : 0U;
    }
    return item;
}

Common::Identifiable* StateReader::objectOf(std::uint32_t number) const {
    const auto found = items_.find(number);
    return found != items_.end() ? found->second.version.object.get() : history_.objectOf(number);
}

bool StateReader::readRemoved() {
    NumberList list;
    std::uint32_t number = 0;
    while (list.get(number, form_->in)) {
        if (number == 0) {
            return true;
        }
        Item& item = stage(number);
        if (!item.version.object) {
            return fail("an object that goes without having been there");
        }
        item.version = {};
        item.isRemoved = true;
        --count_;
    }
    return fail(kDamaged);
}

bool StateReader::readNew(Common::FactoryManager* factories) {
    NumberList list;
    std::uint32_t number = 0;
    while (list.get(number, form_->in)) {
        if (number == 0) {
            return true;
        }
        std::size_t index = 0;
        std::optional<std::uint32_t> description;
        if (!readClass(index, description)) {
            return fail(kDamaged);
        }
        if (objectOf(number) != nullptr) {
            return failAt(number, classes_[index], "it is there already");
        }
        if (++count_ > limits_.objects) {
            return fail("more objects than allowed");
        }
        Item& item = stage(number);
        item.description = description;
        if (const char* const error = make(item, classes_[index], factories)) {
            return failAt(number, classes_[index], error);
        }
    }
    return fail(kDamaged);
}

bool StateReader::readClass(std::size_t& index, std::optional<std::uint32_t>& description) {
    std::uint64_t number = 0;
    std::uint64_t length = 0;
    BitReader& in = form_->in;
    if (readCompact(in, number) != nullptr || number > classes_.size()) {
        return false;
    }
    index = static_cast<std::size_t>(number);
    if (index == classes_.size()) {
        constexpr std::size_t kDescriptionBytes = 4;
        if (readCompact(in, length) != nullptr || length > kMostNameBytes ||
            length + kDescriptionBytes > in.left() / 8) {
            return false;
        }
        std::string name(static_cast<std::size_t>(length), 0);
        in.getBytes(reinterpret_cast<unsigned char*>(name.data()), name.size());
        classes_.emplace_back(std::move(name));
        description = static_cast<std::uint32_t>(in.get(8 * kDescriptionBytes));
    }
    return true;
}

// Uses the present object if it is of the class, else makes one. Returns what is wrong, or null.
const char* StateReader::make(Item& item, const Identifier& name,
                              Common::FactoryManager* factories) {
    item.isNew = true;
    const Entry* const entry = item.entry;
    if (!item.isRemoved && entry != nullptr && entry->object &&
        entry->object->getClassIdentifier() == name) {
        item.version.object = entry->object;
        return nullptr;
    }
    const Common::Ref<Common::Identifiable> object(
        factories == nullptr ? nullptr : factories->createInstance(name));
    auto* const made = dynamic_cast<Common::SerializableObject*>(object.get());
    if (made == nullptr) {
        return "no factory makes it";
    }
    const std::uint32_t next = ++madeCount_;
    if (history_.numberOf(*made) != 0 || made_.findOrAdd(made, next) != next) {
        return "its factory has given it out before";
    }
    item.version.object = ObjectRef(made);
    return nullptr;
}

bool StateReader::readValues() {
    NumberList list;
    std::uint32_t number = 0;
    do {
        if (!list.get(number, form_->in)) {
            return fail(kDamaged);
        }
        if (number != 0) {
            Item& item = stage(number);
            if (!item.version.object) {
                return fail("values of an object that does not exist");
            }
            if (!readInto(number, item, false)) {
                return false;
            }
        }
    } while (number != 0);
    return form_->in.isAtEnd() || fail("something behind the last object");
}

// The replaced and removed objects that objects which are not staged refer to, each with the number
// of such references.
std::map<std::uint32_t, std::uint32_t> StateReader::staleReferences() const {
    std::map<std::uint32_t, std::uint32_t> stale;
    for (const auto& [number, item] : items_) {
        const Entry* const entry = item.entry;
        if (entry != nullptr && entry->referrers > 0 && entry->last().object &&
            entry->last().object.get() != item.version.object.get()) {
            stale.emplace(number, entry->referrers);
        }
    }
    for (auto item = items_.begin(); item != items_.end() && !stale.empty(); ++item) {
        const Entry* const entry = item->second.entry;
        if (entry != nullptr && entry->last().image) {
            forEachReference(*entry->last().image, [&stale](std::uint32_t number) {
                const auto found = stale.find(number);
                if (found != stale.end() && --found->second == 0) {
                    stale.erase(found);
                }
            });
        }
    }
    return stale;
}

// Stages unchanged objects that refer to a replaced object, so that they are read back and refer to
// the new one. False if others still refer to a removed object, which no sender allows.
bool StateReader::stageReferrers() {
    const std::map<std::uint32_t, std::uint32_t> stale = staleReferences();
    for (const auto& [number, count] : stale) {
        const Item& item = items_.at(number);
        if (!item.version.object) {
            return failAt(number, item.entry->last().object->getClassIdentifier(),
                          "it goes, and others still refer to it");
        }
    }
    if (stale.empty()) {
        return true;
    }
    for (const Entry* const entry : history_.entries()) {
        const Image* const image = entry->last().image.get();
        if (image != nullptr && refersToAny(*image, stale)) {
            stage(entry->number);
        }
    }
    return true;
}

// Gives staged objects that the state does not mention the values that they have in the base line.
bool StateReader::readBack() {
    for (auto& [number, item] : items_) {
        if (item.isNew && !item.isTouched) {
            return fail("an object without values");
        }
        if (item.version.object && !item.isTouched && !readInto(number, item, true)) {
            return false;
        }
    }
    return true;
}

bool StateReader::readInto(std::uint32_t number, Item& item, bool isSame) {
    const ImagePtr base = std::move(item.version.image); // keeps the image while it is read from
    form_->begin(base ? Beside(*base) : Beside(), isSame);
    form_->mostCells = (limits_.bytes - std::min(bytes_, limits_.bytes)) / sizeof(Cell);
    item.isTouched = true;
    item.version.object->serialize(serializer_);
    if (!serializer_.isGood()) {
        return failAt(number, item.version.object->getClassIdentifier(), serializer_.getError());
    }
    if (!isOfSameClass(item)) {
        return failAt(number, item.version.object->getClassIdentifier(),
                      "the sender's class has other values, or another version");
    }
    if (isSame) {
        item.version.image = base;
        bytes_ += item.version.bytes();
        return true;
    }
    item.version.image = std::make_shared<const Image>(form_->image());
    item.version.sum = sumOf(form_->image(), number);
    bytes_ += item.version.bytes();
    return true;
}

// Checks the first new object of each class only, because no other has a description.
bool StateReader::isOfSameClass(const Item& item) const {
    return !item.description ||
           *item.description == describe(form_->image(), item.version.object->getVersion());
}

std::uint32_t StateReader::sum() const {
    std::uint32_t sum = base_.sum;
    for (const auto& [number, item] : items_) {
        sum += item.version.sum - item.baseSum;
    }
    return sum;
}

std::string StateReader::suspects() const {
    constexpr std::size_t kMost = 4;
    std::set<std::string> names;
    for (const auto& [number, item] : items_) {
        if (item.isTouched && names.size() <= kMost) {
            names.insert(item.version.object->getClassIdentifier().getClassName());
        }
    }
    std::string text;
    std::size_t count = 0;
    for (const std::string& name : names) {
        text += text.empty() ? "; perhaps a class differs: " : ", ";
        text += ++count > kMost ? "..." : name;
    }
    return text;
}

void StateReader::commit(History::Line line) {
    Changes changes;
    for (const auto& [number, item] : items_) {
        Entry* const entry = item.entry;
        changes.push_back({entry != nullptr ? entry : &history_.findOrAdd(number), item.version});
    }
    history_.replace(line, changes);
}

bool StateReader::takeBack() {
    auto form = std::make_unique<Unpacking>(BitReader());
    Unpacking& unpacking = *form;
    unpacking.numbers = &history_;
    ObjectSerializer serializer(std::move(form), true, limits_.depth);
    for (const auto& [number, item] : items_) {
        const Entry* const entry = item.entry;
        if (item.isTouched && entry != nullptr && entry->object &&
            entry->object.get() == item.version.object.get() && entry->last().image) {
            unpacking.begin(Beside(*entry->last().image), true);
            entry->object->serialize(serializer);
        }
    }
    return serializer.isGood();
}

void StateReader::clearMade() {
    ObjectSerializer serializer(std::make_unique<Clearing>(), true, limits_.depth);
    for (const auto& [number, item] : items_) {
        const bool isThere = item.entry != nullptr && item.entry->object &&
                             item.entry->object.get() == item.version.object.get();
        if (item.isNew && item.version.object && !isThere) {
            try {
                item.version.object->serialize(serializer);
            } catch (...) { // the class does not accept zeros; goes on with the others
                continue;
            }
        }
    }
}

} // namespace serial

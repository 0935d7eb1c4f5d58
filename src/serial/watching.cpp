// States that are read.
#include "serial/common_state.h"
#include "serial/state.h"

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
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

constexpr char kDamaged[] = "a state with a list that is none";

// Reads a state beside what there is. That changes only at the end, but for the objects' values.
class StateReader final : public Numbers {
public:
    StateReader(History& history, History::Line base, const BitReader& bits,
                const Common::CommonBufferizer::Limits& limits)
        : history_(history)
        , base_(base)
        , limits_(limits)
        , form_(new Unpacking(bits))
        , serializer_(std::unique_ptr<Common::detail::Form>(form_), true, limits.depth) {
        form_->numbers = this;
    }

    bool read(Common::FactoryManager* factories) {
        stage();
        return readRemoved() && readNew(factories) && readValues() && readBack();
    }

    // What the state has come out as.
    std::uint32_t sum() const;

    // The names of the classes whose objects were read, or of some.
    std::string classNames() const;

    // Puts everything in place.
    void commit(History::Line line);

    // Reads objects back that have been read in part. False if one cannot be.
    bool takeBack();

    // Empties objects that were made for nothing: in circles they would keep each other.
    void clearMade();

    const std::string& error() const { return error_; }

    std::uint32_t numberOf(const Common::Identifiable& /*object*/) const override { return 0; }
    Common::Identifiable* objectOf(std::uint32_t number) const override;

private:
    // What is to become of an object.
    struct Item {
        Entry* entry = nullptr;                   // if it is known already
        std::uint32_t baseSum = 0;                // that it had in the base line
        Version version;                          // without an object: it goes
        std::optional<std::uint32_t> description; // of its class, if it is the first one
        bool isRemoved = false;
        bool isNew = false;
        bool isTouched = false;
    };

    bool fail(const std::string& what) {
        error_ = what;
        return false;
    }
    bool failAt(std::uint32_t number, const Identifier& name, const std::string& what) {
        return fail("object " + std::to_string(number) + " (" + name.getClassName() + "): " + what);
    }

    void stage();
    Item& stage(std::uint32_t number);
    bool readRemoved();
    bool readNew(Common::FactoryManager* factories);
    bool readClass(std::size_t& index, std::optional<std::uint32_t>& description);
    const char* make(Item& item, const Identifier& name, Common::FactoryManager* factories);
    bool readValues();
    bool readBack();
    bool readInto(std::uint32_t number, Item& item, bool isSame);
    bool isOfSameClass(const Item& item) const;

    History& history_;
    History::Line base_;
    const Common::CommonBufferizer::Limits& limits_;
    Unpacking* form_; // the serializer's
    ObjectSerializer serializer_;
    std::map<std::uint32_t, Item> items_;
    std::size_t count_ = 0; // of the objects that there will be
    std::size_t bytes_ = 0; // that they take, as far as it is known
    qz::vector<Identifier> classes_;
    PointerTable made_;
    std::uint32_t madeCount_ = 0;
    std::string error_;
};

// A whole state begins with nothing; otherwise what has changed since the base line is to be again
// as it was there.
void StateReader::stage() {
    if (base_.state == 0) {
        for (const auto& [number, entry] : history_.entries()) {
            items_.try_emplace(items_.end(), number)->second.entry = entry;
        }
        return;
    }
    count_ = history_.count();
    bytes_ = history_.bytes();
    for (const std::uint32_t number : history_.changedSince(base_.state)) {
        stage(number);
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

// Takes the object that there is now, if it fits; only a whole state comes upon one. Returns what
// is wrong, or null.
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
    ObjectRef made(dynamic_cast<Common::SerializableObject*>(object.get()));
    if (!made) {
        return "no factory makes it";
    }
    const std::uint32_t next = ++madeCount_;
    if (history_.numberOf(*made) != 0 || made_.findOrAdd(made.get(), next) != next) {
        return "its factory has given it out before";
    }
    item.version.object = std::move(made);
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

// Those that the state does not mention.
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
    const ImagePtr base = std::move(item.version.image); // stays while it is read from
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

// As far as an object shows it that has values for the first time.
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

std::string StateReader::classNames() const {
    constexpr std::size_t kMost = 4;
    std::set<std::string> names;
    for (const auto& [number, item] : items_) {
        if (item.isTouched && names.size() <= kMost) {
            names.insert(item.version.object->getClassIdentifier().getClassName());
        }
    }
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return names.size() <= kMost ? text : text + ", ...";
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
            } catch (...) { // a class that does not like zeros; others have their turn
                continue;
            }
        }
    }
}

} // namespace

} // namespace serial

namespace Common {

bool CommonBufferizer::State::read(const detail::StateHeader& header,
                                   const serial::BitReader& bits) {
    const auto refuse = [this](const char* what) {
        fail(what);
        return false;
    };
    if (sender != 0 && header.session != sender) {
        return refuse("a state of another sender");
    }
    if (header.number <= history.newest().state) {
        return refuse("a state that is not newer than the last one");
    }
    serial::History::Line base;
    if (header.base != 0) {
        const serial::History::Line* const kept = history.findLine(header.base);
        if (kept == nullptr || kept->sum != header.baseSum) {
            return refuse("a state that belongs to another base line");
        }
        base = *kept;
    }
    return attempt<bool>([&] {
        serial::StateReader reader(history, base, bits, limits);
        const bool isRead = attempt<bool>([&] {
            if (!reader.read(factories)) {
                fail(reader.error());
                return false;
            }
            if (isDisturbed) {
                fail(kDisturbed);
                return false;
            }
            if (const std::uint32_t sum = reader.sum(); sum != header.sum) {
                fail("a state that is not what was sent: its sum is " + std::to_string(sum) +
                     "; a class that differs, perhaps, of " + reader.classNames());
                return false;
            }
            reader.commit({header.number, header.sum});
            sender = header.session;
            return true;
        });
        if (isRead) {
            history.forget(base.state);
            history.keep(limits.states, limits.bytes);
            return true;
        }
        const std::string why = std::move(error);
        if (!attempt<bool>([&] { return reader.takeBack(); })) {
            history.clear();
        }
        reader.clearMade();
        error = why;
        return false;
    });
}

} // namespace Common

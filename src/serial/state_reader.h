// Reads a state of objects.
#pragma once

#include "serial/bufferizer_state.h"
#include "serial/pointer_table.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace serial {

// Reads a state beside the history. The history changes only at the end, in commit(); only the
// values of present objects change while the state is read.
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
        return readRemoved() && readNew(factories) && readValues() && stageReferrers() &&
               readBack();
    }

    // The sum of the state read.
    std::uint32_t sum() const;

    // A text to append to an error: some classes of the objects read, of which one may differ.
    std::string suspects() const;

    // Adds the state to the history.
    void commit(History::Line line);

    // After a failure, gives the touched objects their last values again. False if one refuses.
    bool takeBack();

    // After a failure, empties the objects made: in a cycle they would keep each other alive.
    void clearMade();

    const std::string& error() const { return error_; }

    std::uint32_t numberOf(const Common::Identifiable& /*object*/) const override { return 0; }
    Common::Identifiable* objectOf(std::uint32_t number) const override;

private:
    // What an object becomes in the state.
    struct Item {
        Entry* entry = nullptr;                   // null if its number is new
        std::uint32_t baseSum = 0;                // its sum in the base line
        Version version;                          // has no object if it is removed
        std::optional<std::uint32_t> description; // only of the first new object of a class
        bool isRemoved = false;
        bool isNew = false;
        bool isTouched = false;
    };

    bool fail(const std::string& what) {
        error_ = what;
        return false;
    }
    bool failAt(std::uint32_t number, const Common::Identifier& name, const std::string& what) {
        return fail("object " + std::to_string(number) + " (" + name.getClassName() + "): " + what);
    }

    void stage();
    Item& stage(std::uint32_t number);
    bool readRemoved();
    bool readNew(Common::FactoryManager* factories);
    bool readClass(std::size_t& index, std::optional<std::uint32_t>& description);
    const char* make(Item& item, const Common::Identifier& name, Common::FactoryManager* factories);
    bool readValues();
    bool stageReferrers();
    std::map<std::uint32_t, std::uint32_t> staleReferences() const;
    bool readBack();
    bool readInto(std::uint32_t number, Item& item, bool isSame);
    bool isOfSameClass(const Item& item) const;

    History& history_;
    History::Line base_;
    const Common::CommonBufferizer::Limits& limits_;
    Unpacking* form_; // owned by the serializer
    ObjectSerializer serializer_;
    std::map<std::uint32_t, Item> items_;
    std::size_t count_ = 0; // of objects in the state
    std::size_t bytes_ = 0; // the memory that they take, without those still to be read
    qz::vector<Common::Identifier> classes_;
    PointerTable made_;
    std::uint32_t madeCount_ = 0;
    std::string error_;
};

} // namespace serial

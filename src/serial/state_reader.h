// How a state of objects is read.
#pragma once

#include "serial/common_state.h"
#include "serial/pointer_table.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace serial {

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
        return readRemoved() && readNew(factories) && readValues() && stageReferrers() &&
               readBack();
    }

    // What the state has come out as.
    std::uint32_t sum() const;

    // Which classes may differ, behind an error: those whose objects were read, or some of them.
    std::string suspects() const;

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
    Unpacking* form_; // the serializer's
    ObjectSerializer serializer_;
    std::map<std::uint32_t, Item> items_;
    std::size_t count_ = 0; // of the objects that there will be
    std::size_t bytes_ = 0; // that they take, as far as it is known
    qz::vector<Common::Identifier> classes_;
    PointerTable made_;
    std::uint32_t madeCount_ = 0;
    std::string error_;
};

} // namespace serial

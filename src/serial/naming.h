// What the fields of classes are called.
#pragma once

#include "Common/Allocator.h"
#include "Serial/Field.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace serial {

// Fields have as many bytes together; a long list of them in a short file would become a longer one
// in memory.
inline constexpr std::size_t kMostFieldBytes = std::size_t{1} << 20;
inline constexpr std::uint32_t kDeepestFields = 320; // of values within each other, two for each

// Learns the fields of each class from all its objects while they are saved. A value that was never
// there in one object, such as an item of a list, may be in the next; where two objects differ the
// fields of the class end.
class Naming {
public:
    using Kind = Common::FieldKind;

    // Around the values of a record, by its class; 0 is that of what is saved as a whole.
    void beginRecord(std::size_t classNumber);
    void endRecord() noexcept;

    // What comes next. Names are literals, or null. An optional value that is there comes next.
    void value(const char* name, Kind kind);
    void length(const char* name, std::size_t length); // of a row, which comes next
    void row(const char* name, Kind element, std::size_t count);
    void optional(const char* name, bool isThere);
    void open(const char* name, Kind kind, std::size_t count = 0); // of the items of a list
    void close() noexcept;

    // The values that follow in what is open are not told.
    void lose() noexcept;

    // Of each class.
    std::vector<Common::Field> fields() const;

private:
    struct Learnt {
        const char* name;
        Kind kind;
        Kind element{};
        std::uint32_t count = 0;
        bool isWhole = false; // a group that was closed once
        bool varies = false;
        std::vector<Learnt> fields{};

        bool repeats() const { return kind == Kind::kList || kind == Kind::kOptional; }
        bool isLike(const Learnt& other) const;
        void cut(std::size_t at) noexcept;
    };

    // A field that was opened. Its address stays, as nothing is added beside it meanwhile.
    struct Open {
        Learnt* field;
        std::size_t count;          // of the items of a list
        std::size_t done = 0;       // fields or items
        Learnt* optional = nullptr; // one whose value comes next
        Learnt* row = nullptr;      // one whose elements come next
        std::size_t rowLength = 0;
    };

    Learnt* next(Learnt field);
    Learnt* add(Learnt& outer, std::size_t at, Learnt&& field);
    static void settle(Open& open) noexcept;
    static Common::Field fieldOf(const Learnt& learnt);
    static std::vector<Common::Field> fieldsIn(const Learnt& learnt);

    qz::vector<Learnt> classes_;
    qz::vector<Open> open_;
    std::size_t lost_ = 0; // how many are open within what is not told
    std::size_t count_ = 0;
};

} // namespace serial

// The implementation of Common::CommonBufferizer.
#pragma once

#include "Serial/CommonBufferizer.h"
#include "serial/history.h"
#include "serial/packing.h"
#include "serial/parts.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace serial {

// Writes or reads one object after another, and none after an error.
class ObjectSerializer final : public Common::CommonSerializer {
public:
    ObjectSerializer(std::unique_ptr<Common::detail::Form> itsForm, bool isLoading,
                     std::uint32_t depth)
        : CommonSerializer(std::move(itsForm), isLoading, depth) {}
};

// A list of ascending numbers: each is written as the distance to the one before; 0 ends the list.
class NumberList {
public:
    // Writes a number.
    void put(std::uint32_t number, BitWriter& out) {
        writeCompact(number - last_, out);
        last_ = number;
    }

    // Reads a number, 0 at the end of the list. False if the bits are not a list.
    bool get(std::uint32_t& number, BitReader& in);

private:
    std::uint32_t last_ = 0;
};

} // namespace serial

namespace Common {

struct CommonBufferizer::State {
    FactoryManager* factories = nullptr;
    Limits limits;
    std::uint32_t session = serial::newSession(); // the session of the states written
    std::uint32_t sender = 0;                     // the session of the states read; 0: any
    serial::History history;
    serial::Entries marked;
    bool areAllMarked = false; // then `marked` does not matter
    std::string error;

    bool isBusy = false;      // objects are being read or written
    bool isDisturbed = false; // meanwhile one of them has tried to change something

    void fail(std::string_view what) noexcept;

    // Returns what the function returns. If it throws, sets the error and returns Result().
    template<class Result, class Function>
    Result attempt(Function function) noexcept {
        try {
            return function();
        } catch (const std::bad_alloc&) {
            error = "out of memory"; // short enough to need no memory
        } catch (const std::exception& exception) {
            fail(exception.what());
        } catch (...) {
            fail("a class threw what is no std::exception");
        }
        return Result();
    }

    // The same for changes of states or objects, which classes must not make in `serialize`.
    template<class Result, class Function>
    Result change(Function function) noexcept {
        if (isBusy) {
            isDisturbed = true;
            fail(kDisturbed);
            return Result();
        }
        const auto result = attempt<Result>(function);
        history.release();
        return result;
    }

    // The same for a function that calls classes. The function itself must check isDisturbed.
    template<class Result, class Function>
    Result callClasses(Function function) noexcept {
        return change<Result>([&] {
            isBusy = true;
            isDisturbed = false;
            auto result = attempt<Result>(function);
            isBusy = false;
            return result;
        });
    }

    static constexpr char kDisturbed[] = "a class changes states while they are read or written";

    void mark(serial::Entry& entry);
    std::uint32_t capture(bool onlyMarked);
    std::vector<Mail::Message> write(std::uint32_t base, std::uint32_t address,
                                     std::size_t mostBytes);
    bool read(const detail::StateHeader& header, const serial::BitReader& bits);

    void failAt(std::uint32_t number, const SerializableObject& object, const std::string& what);

private:
    serial::Entries entriesToCapture(bool onlyMarked);
    void addReferrers(serial::Entries& entries);
    bool captureOne(serial::Entry& entry, serial::Packing& packing,
                    serial::ObjectSerializer& serializer, serial::Changes& changes);
};

} // namespace Common

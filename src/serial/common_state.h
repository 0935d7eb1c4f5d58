// What Common::CommonBufferizer does with states.
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

// Writes or reads one object after the other; after an error no more.
class ObjectSerializer final : public Common::CommonSerializer {
public:
    ObjectSerializer(std::unique_ptr<Common::detail::Form> itsForm, bool isLoading,
                     std::uint32_t depth)
        : CommonSerializer(std::move(itsForm), isLoading, depth) {}
};

// How a list of numbers is written: each as the distance to the one before, and 0 at the end.
class NumberList {
public:
    // Writing.
    void put(std::uint32_t number, BitWriter& out) {
        writeCompact(number - last_, out);
        last_ = number;
    }

    // Reading: 0 at the end. False for what is no list.
    bool get(std::uint32_t& number, BitReader& in);

private:
    std::uint32_t last_ = 0;
};

} // namespace serial

namespace Common {

struct CommonBufferizer::State {
    FactoryManager* factories = nullptr;
    Limits limits;
    std::uint32_t session = serial::newSession(); // of the states that are written
    std::uint32_t sender = 0;                     // the session of those that are read; 0: any
    serial::History history;
    qz::vector<std::uint32_t> marked;
    bool areAllMarked = false; // whatever `marked` has
    std::string error;

    bool isBusy = false;      // objects are being read or written
    bool isDisturbed = false; // and one of them wanted to change something

    void fail(std::string_view what) noexcept;

    // What the function returns, or a zero and an error if it throws.
    template<class Result, class Function>
    Result attempt(Function function) noexcept {
        try {
            return function();
        } catch (const std::bad_alloc&) {
            error = "out of memory"; // fits without any
        } catch (const std::exception& exception) {
            fail(exception.what());
        } catch (...) {
            fail("a class threw what is no std::exception");
        }
        return Result();
    }

    // The same for what changes states or objects. Classes must not do so in `serialize`.
    template<class Result, class Function>
    Result change(Function function) noexcept {
        if (isBusy) {
            isDisturbed = true;
            fail(kDisturbed);
            return Result();
        }
        const Result result = attempt<Result>(function);
        history.release();
        return result;
    }

    // Around what calls classes: false as well if one of them wanted to change something.
    template<class Result, class Function>
    Result callClasses(Function function) noexcept {
        return change<Result>([&] {
            isBusy = true;
            isDisturbed = false;
            Result result = attempt<Result>(function);
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
    qz::vector<serial::Entry*> entriesToCapture(bool onlyMarked);
    void addReferrers(qz::vector<serial::Entry*>& entries);
    bool captureOne(serial::Entry& entry, serial::Packing& packing,
                    serial::ObjectSerializer& serializer, serial::Changes& changes);
};

} // namespace Common

#include "serial/departing.h"

#include "serial/bufferizer_state.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <unordered_map>
#include <utility>

namespace serial {

void Departing::take(const ObjectRef& object, std::uint32_t number,
                     const ImagePtr& image) noexcept {
    try {
        objects_.push_back({object, number, image});
    } catch (const std::exception&) {
        return; // the caller's reference is the last one
    }
}

void Departing::releaseAll() noexcept {
    Objects objects = std::exchange(objects_, {});
    try {
        releaseInOrder(objects);
    } catch (const std::exception&) {
        objects.clear(); // without memory they are released recursively
    }
}

namespace {

// The objects that depart, by their addresses.
class Addresses final : public Numbers {
public:
    void add(const Common::Identifiable* object, std::uint32_t number) {
        numbers_[object] = number;
    }

    // Other objects have a number, too: a reference to one is no error.
    std::uint32_t numberOf(const Common::Identifiable& object) const override {
        const auto found = numbers_.find(&object);
        return found == numbers_.end() ? std::numeric_limits<std::uint32_t>::max() : found->second;
    }
    Common::Identifiable* objectOf(std::uint32_t /*number*/) const override { return nullptr; }

private:
    std::unordered_map<const Common::Identifiable*, std::uint32_t> numbers_;
};

// The present values of an object, up to the first error. Null if it throws.
ImagePtr imageOf(Common::SerializableObject& object, const Numbers& numbers) noexcept {
    try {
        auto form = std::make_unique<Packing>();
        const Packing& packing = *form;
        form->numbers = &numbers;
        ObjectSerializer serializer(std::move(form), false,
                                    Common::CommonBufferizer::Limits().depth);
        object.serialize(serializer);
        return std::make_shared<const Image>(packing.image());
    } catch (...) {
        return nullptr;
    }
}

} // namespace

// Objects that are still referred to in the end stay in the list: something outside holds them, or
// they form a cycle.
void Departing::releaseInOrder(Objects& objects) {
    std::ranges::sort(objects, {}, &Object::number);
    qz::vector<Object*> free;
    const auto note = [&free](Object& object) {
        if (object.object && object.object->getRefCount() == 1) {
            free.push_back(&object);
        }
    };
    Addresses addresses;
    if (!std::ranges::all_of(objects,
                             [](const Object& object) { return object.image != nullptr; })) {
        for (const Object& object : objects) {
            addresses.add(object.object.get(), object.number);
        }
    }
    std::ranges::for_each(objects, note);
    while (!free.empty()) {
        Object& object = *free.back();
        free.pop_back();
        if (!object.image && object.object) {
            object.image = imageOf(*object.object, addresses);
        }
        object.object = {};
        if (object.image) {
            forEachReference(*object.image, [&](std::uint32_t number) {
                auto next = std::ranges::lower_bound(objects, number, {}, &Object::number);
                for (; next != objects.end() && next->number == number; ++next) {
                    note(*next);
                }
            });
        }
    }
}

} // namespace serial

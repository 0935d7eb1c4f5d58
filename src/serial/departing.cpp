#include "serial/departing.h"

#include <algorithm>
#include <exception>
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
        objects.clear(); // one within the other, then
    }
}

// Those that others still refer to stay for last: they are not among these, or in a circle.
void Departing::releaseInOrder(Objects& objects) {
    std::ranges::sort(objects, {}, &Object::number);
    qz::vector<Object*> free;
    const auto note = [&free](Object& object) {
        if (object.object && object.object->getRefCount() == 1) {
            free.push_back(&object);
        }
    };
    std::ranges::for_each(objects, note);
    while (!free.empty()) {
        Object& object = *free.back();
        free.pop_back();
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

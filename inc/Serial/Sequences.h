/* Strings and vectors for Common::CommonSerializer, and the class Items for other containers. C++
 * only, for programs built by the library's compiler. Programs include Serial/CommonSerializer.h,
 * which includes this header. */
#ifndef QZCORE_SERIAL_SEQUENCES_H
#define QZCORE_SERIAL_SEQUENCES_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "Serial/CommonSerializer.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Common {

/* Transfers a value that consists of items; errors have the number of the item. */
class QZ_API CommonSerializer::Items {
public:
    /* Writes the number of items, or reads it. `count` returns it in both cases, 0 after an error.
     * A number that is greater than the bytes and references left is an error. */
    Items(CommonSerializer& serializer, std::size_t count);
    ~Items();
    Items(const Items&) = delete;
    Items& operator=(const Items&) = delete;

    std::size_t count() const { return count_; }

    /* Transfers the next item. Returns false if there was an error. */
    template<class T>
    bool transfer(T& item) {
        serializer_.scope_->index = ++number_;
        serializer_.scope_->node = 0;
        serializer_.transfer(item);
        return serializer_.isGood();
    }

private:
    CommonSerializer& serializer_;
    std::size_t count_;
    std::size_t number_ = 0;
    std::size_t usedBefore_ = 0;
};

template<class Traits, class Allocator>
void serialize(CommonSerializer& serializer, std::basic_string<char, Traits, Allocator>& text) {
    const std::size_t length = serializer.transferLength(text.size(), 1);
    if (serializer.isGood()) {
        if (serializer.isLoading()) {
            text.resize(length);
        }
        serializer.transferRow(text.data(), length);
    }
}

namespace detail {

template<class Container>
void serializeItems(CommonSerializer& serializer, Container& container) {
    CommonSerializer::Items items(serializer, container.size());
    if (!serializer.isLoading()) {
        for (auto& item : container) {
            if (!items.transfer(item)) {
                break;
            }
        }
        return;
    }
    if (serializer.isGood()) {
        container.clear();
    }
    for (std::size_t i = 0; i < items.count(); ++i) {
        if (!items.transfer(container.emplace_back())) {
            container.pop_back();
            break;
        }
    }
}

} // namespace detail

template<class T, class Allocator>
void serialize(CommonSerializer& serializer, std::vector<T, Allocator>& values) {
    if constexpr (SerializedAsBytes<T>) {
        const std::size_t length = serializer.transferLength(values.size(), sizeof(T));
        if (serializer.isGood()) {
            if (serializer.isLoading()) {
                values.resize(length);
            }
            serializer.transferRow(values.data(), length);
        }
    } else {
        detail::serializeItems(serializer, values);
    }
}

template<class Allocator>
void serialize(CommonSerializer& serializer, std::vector<bool, Allocator>& values) {
    CommonSerializer::Items items(serializer, values.size());
    if (serializer.isGood()) {
        values.resize(items.count());
    }
    for (std::size_t i = 0; i < items.count(); ++i) {
        bool value = values[i];
        if (!items.transfer(value)) {
            if (serializer.isLoading()) {
                values.resize(i);
            }
            break;
        }
        values[i] = value;
    }
}

} // namespace Common

#endif

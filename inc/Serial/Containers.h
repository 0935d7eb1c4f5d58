/* Containers, pairs, optional values and arrays for Common::CommonSerializer. C++ only, for
 * programs built by the library's compiler.
 *
 * Maps are written in the order of their keys, even unordered maps if their keys have an order, so
 * that the same contents give the same bytes. Reading a key twice is an error. */
#ifndef QZCORE_SERIAL_CONTAINERS_H
#define QZCORE_SERIAL_CONTAINERS_H

#include "Core/SameCompiler.h"
#include "Serial/CommonSerializer.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <deque>
#include <list>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Common {

template<class T, class Allocator>
void serialize(CommonSerializer& serializer, std::deque<T, Allocator>& values) {
    detail::serializeItems(serializer, values);
}

template<class T, class Allocator>
void serialize(CommonSerializer& serializer, std::list<T, Allocator>& values) {
    detail::serializeItems(serializer, values);
}

template<class First, class Second>
void serialize(CommonSerializer& serializer, std::pair<First, Second>& value) {
    serializer.transfer("first", value.first);
    serializer.transfer("second", value.second);
}

template<class T>
void serialize(CommonSerializer& serializer, std::optional<T>& value) {
    bool isThere = value.has_value();
    serializer.transfer(isThere);
    if (!isThere || !serializer.isGood()) {
        if (serializer.isGood()) {
            value.reset();
        }
        return;
    }
    if (serializer.isLoading()) {
        value.emplace();
    }
    serializer.transfer(*value);
}

namespace detail {

template<class T>
void serializeRow(CommonSerializer& serializer, T* values, std::size_t count) {
    if constexpr (SerializedAsBytes<T>) {
        serializer.transferRow(values, count);
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            serializer.transfer(values[i]);
        }
    }
}

/* A copy of an entry of a map. */
template<class Map>
struct Entry {
    typename Map::key_type key;
    typename Map::mapped_type value;

    void serialize(CommonSerializer& serializer) {
        serializer.transfer("key", key);
        serializer.transfer("value", value);
    }
};

/* An entry in a map. Saving does not change its key. */
template<class Map>
struct EntryInMap {
    typename Map::value_type& entry;

    void serialize(CommonSerializer& serializer) {
        serializer.transfer("key", const_cast<typename Map::key_type&>(entry.first));
        serializer.transfer("value", entry.second);
    }
};

template<class Map>
void loadMap(CommonSerializer& serializer, CommonSerializer::Items& items, Map& map) {
    if (serializer.isGood()) {
        map.clear();
    }
    for (std::size_t i = 0; i < items.count(); ++i) {
        Entry<Map> entry{};
        if (!items.transfer(entry)) {
            return;
        }
        if (!map.try_emplace(std::move(entry.key), std::move(entry.value)).second) {
            serializer.fail("a key that is there already");
            return;
        }
    }
}

/* False if there was an error. */
template<class Map>
bool saveEntry(CommonSerializer::Items& items, typename Map::value_type& entry) {
    EntryInMap<Map> value{entry};
    return items.transfer(value);
}

} // namespace detail

template<class T, std::size_t N>
void serialize(CommonSerializer& serializer, std::array<T, N>& values) {
    detail::serializeRow(serializer, values.data(), N);
}

template<class T, std::size_t N>
void serialize(CommonSerializer& serializer, T (&values)[N]) {
    detail::serializeRow(serializer, values, N);
}

template<class Key, class T, class Compare, class Allocator>
void serialize(CommonSerializer& serializer, std::map<Key, T, Compare, Allocator>& map) {
    using Map = std::map<Key, T, Compare, Allocator>;
    CommonSerializer::Items items(serializer, map.size());
    if (serializer.isLoading()) {
        detail::loadMap(serializer, items, map);
        return;
    }
    for (auto& entry : map) {
        if (!detail::saveEntry<Map>(items, entry)) {
            break;
        }
    }
}

template<class Key, class T, class Hash, class Equal, class Allocator>
void serialize(CommonSerializer& serializer,
               std::unordered_map<Key, T, Hash, Equal, Allocator>& map) {
    using Map = std::unordered_map<Key, T, Hash, Equal, Allocator>;
    CommonSerializer::Items items(serializer, map.size());
    if (serializer.isLoading()) {
        detail::loadMap(serializer, items, map);
        return;
    }
    std::vector<typename Map::value_type*> entries;
    entries.reserve(map.size());
    for (auto& entry : map) {
        entries.push_back(&entry);
    }
    if constexpr (requires(const Key& key) {
                      { key < key } -> std::convertible_to<bool>;
                  }) {
        std::ranges::sort(entries, [](auto* a, auto* b) { return a->first < b->first; });
    }
    for (auto* const entry : entries) {
        if (!detail::saveEntry<Map>(items, *entry)) {
            break;
        }
    }
}

} // namespace Common

#endif

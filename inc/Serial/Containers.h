/* Containers, pairs, optional values and arrays for Common::CommonSerializer. C++ only, for
 * programs built by the library's compiler.
 *
 * Unordered containers that are read from unknown sources need a hash with a secret seed: keys can
 * be chosen that all have the same std::hash, and then each takes longer than the one before.
 *
 * Maps and sets are written in the order of their keys, even unordered ones if their keys have an
 * order, so that the same contents give the same bytes. Of an unordered_multimap the entries of one
 * key are written in any order. Reading a key twice is an error where a container has it once. */
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
#include <set>
#include <unordered_map>
#include <unordered_set>
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
    serializer.transferPresence(isThere);
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

inline constexpr char kKeyTwice[] = "a key that is there already";

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
constexpr bool kHasKeysOnce = requires(Map& map, typename Map::key_type key) {
    map.try_emplace(std::move(key));
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
        if constexpr (!kHasKeysOnce<Map>) {
            map.emplace(std::move(entry.key), std::move(entry.value));
        } else if (!map.try_emplace(std::move(entry.key), std::move(entry.value)).second) {
            serializer.fail(kKeyTwice);
            return;
        }
    }
}

/* Inserts a key of a set; false if it is there already. */
template<class Set>
bool insertKey(Set& set, typename Set::key_type&& key) {
    if constexpr (requires { set.insert(std::move(key)).second; }) {
        return set.insert(std::move(key)).second;
    } else {
        set.insert(std::move(key));
        return true;
    }
}

template<class Set>
void loadSet(CommonSerializer& serializer, CommonSerializer::Items& items, Set& set) {
    if (serializer.isGood()) {
        set.clear();
    }
    for (std::size_t i = 0; i < items.count(); ++i) {
        typename Set::key_type key{};
        if (!items.transfer(key)) {
            return;
        }
        if (!insertKey(set, std::move(key))) {
            serializer.fail(kKeyTwice);
            return;
        }
    }
}

/* The contents of an unordered container, in the order of their keys if these have one. */
template<class Container, class KeyOf>
auto inOrder(Container& container, KeyOf keyOf) {
    using Key = typename Container::key_type;
    std::vector<decltype(&*container.begin())> contents;
    contents.reserve(container.size());
    for (auto& one : container) {
        contents.push_back(&one);
    }
    if constexpr (requires(const Key& key) {
                      { key < key } -> std::convertible_to<bool>;
                  }) {
        std::ranges::sort(contents, [&](auto* a, auto* b) { return keyOf(*a) < keyOf(*b); });
    }
    return contents;
}

/* Saving changes no key. */
template<class Key>
bool saveKey(CommonSerializer::Items& items, const Key& key) {
    return items.transfer(const_cast<Key&>(key));
}

/* False if there was an error. */
template<class Map>
bool saveEntry(CommonSerializer::Items& items, typename Map::value_type& entry) {
    EntryInMap<Map> value{entry};
    return items.transfer(value);
}

template<class Map>
void serializeOrdered(CommonSerializer& serializer, Map& map) {
    CommonSerializer::Items items(serializer, map.size());
    if (serializer.isLoading()) {
        loadMap(serializer, items, map);
        return;
    }
    for (auto& entry : map) {
        if (!saveEntry<Map>(items, entry)) {
            break;
        }
    }
}

template<class Set>
void serializeSet(CommonSerializer& serializer, Set& set) {
    CommonSerializer::Items items(serializer, set.size());
    if (serializer.isLoading()) {
        loadSet(serializer, items, set);
        return;
    }
    for (const auto& key : set) {
        if (!saveKey(items, key)) {
            break;
        }
    }
}

template<class Set>
void serializeUnorderedSet(CommonSerializer& serializer, Set& set) {
    CommonSerializer::Items items(serializer, set.size());
    if (serializer.isLoading()) {
        loadSet(serializer, items, set);
        return;
    }
    const auto keyOf = [](const auto& key) -> const auto& {
        return key;
    };
    for (const auto* const key : inOrder(set, keyOf)) {
        if (!saveKey(items, *key)) {
            break;
        }
    }
}

template<class Map>
void serializeUnorderedMap(CommonSerializer& serializer, Map& map) {
    CommonSerializer::Items items(serializer, map.size());
    if (serializer.isLoading()) {
        loadMap(serializer, items, map);
        return;
    }
    const auto keyOf = [](const auto& entry) -> const auto& {
        return entry.first;
    };
    for (auto* const entry : inOrder(map, keyOf)) {
        if (!saveEntry<Map>(items, *entry)) {
            break;
        }
    }
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
    detail::serializeOrdered(serializer, map);
}

/* Entries of one key keep their order. */
template<class Key, class T, class Compare, class Allocator>
void serialize(CommonSerializer& serializer, std::multimap<Key, T, Compare, Allocator>& map) {
    detail::serializeOrdered(serializer, map);
}

template<class Key, class Compare, class Allocator>
void serialize(CommonSerializer& serializer, std::set<Key, Compare, Allocator>& set) {
    detail::serializeSet(serializer, set);
}

template<class Key, class Compare, class Allocator>
void serialize(CommonSerializer& serializer, std::multiset<Key, Compare, Allocator>& set) {
    detail::serializeSet(serializer, set);
}

template<class Key, class Hash, class Equal, class Allocator>
void serialize(CommonSerializer& serializer, std::unordered_set<Key, Hash, Equal, Allocator>& set) {
    detail::serializeUnorderedSet(serializer, set);
}

template<class Key, class Hash, class Equal, class Allocator>
void serialize(CommonSerializer& serializer,
               std::unordered_multiset<Key, Hash, Equal, Allocator>& set) {
    detail::serializeUnorderedSet(serializer, set);
}

template<class Key, class T, class Hash, class Equal, class Allocator>
void serialize(CommonSerializer& serializer,
               std::unordered_map<Key, T, Hash, Equal, Allocator>& map) {
    detail::serializeUnorderedMap(serializer, map);
}

/* Entries of one key come in any order. */
template<class Key, class T, class Hash, class Equal, class Allocator>
void serialize(CommonSerializer& serializer,
               std::unordered_multimap<Key, T, Hash, Equal, Allocator>& map) {
    detail::serializeUnorderedMap(serializer, map);
}

} // namespace Common

#endif

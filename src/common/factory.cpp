#include "Common/Factory.h"

#include <algorithm>
#include <utility>

namespace Common {

Factory::~Factory() = default;

void Factory::destroyInstance(Identifiable* object) {
    delete object;
}

void Factory::createInstance(const Identifier& identifier, Identifiable** out) {
    *out = create(identifier);
    if (*out != nullptr) {
        (*out)->addRef();
    }
}

void Factory::addIdentifier(const Identifier& identifier) {
    if (std::find(identifiers_.begin(), identifiers_.end(), identifier) == identifiers_.end()) {
        identifiers_.push_back(identifier);
    }
}

void Factory::removeIdentifier(const Identifier& identifier) {
    // A copy, since callers may pass the element that goes.
    identifiers_.remove_if(
        [doomed = identifier](const Identifier& each) { return each == doomed; });
}

// The tables are empty by the time that factories go, whose destructors may ask this manager.
FactoryManager::~FactoryManager() {
    const auto entries = std::exchange(entries_, {});
    const auto factories = std::exchange(factories_, {});
}

const FactoryManager::Entry* FactoryManager::find(const Identifier& identifier) const {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const Entry& entry) { return entry.first == identifier; });
    return found != entries_.end() ? &*found : nullptr;
}

// The reference keeps the factory for the time of the call, which may remove it.
Identifiable* FactoryManager::create(const Identifier& identifier) {
    const Entry* const entry = find(identifier);
    const Ref<Factory> factory = entry != nullptr ? entry->second : Ref<Factory>();
    return factory ? factory->create(identifier) : nullptr;
}

void FactoryManager::destroyInstance(Identifiable* object) {
    if (object == nullptr) {
        return;
    }
    if (const Entry* const entry = find(object->getClassIdentifier())) {
        const Ref<Factory> factory = entry->second;
        factory->destroyInstance(object);
    }
}

void FactoryManager::addFactory(Factory* factory) {
    const auto isIt = [=](const Ref<Factory>& each) { return each.get() == factory; };
    if (factory == nullptr || factory == this ||
        std::any_of(factories_.begin(), factories_.end(), isIt)) {
        return;
    }
    const Ref<Factory> added(factory);
    qz::vector<Entry> entries = entries_;
    qz::list<Identifier> news;
    for (const Identifier& identifier : factory->requestIdentifiers()) {
        entries.emplace_back(identifier, added);
        if (std::find(identifiers_.begin(), identifiers_.end(), identifier) == identifiers_.end()) {
            news.push_back(identifier);
        }
    }
    factories_.push_back(added);
    // From here on nothing takes memory: all of the factory is added, or nothing.
    entries_.swap(entries);
    identifiers_.splice(identifiers_.end(), news);
}

void FactoryManager::removeFactory(Factory* factory) {
    const auto found =
        std::find_if(factories_.begin(), factories_.end(),
                     [=](const Ref<Factory>& each) { return each.get() == factory; });
    if (found == factories_.end()) {
        return;
    }
    // Deletes the factory last, when the tables are whole again.
    const Ref<Factory> removed = std::move(*found);
    factories_.erase(found);
    std::erase_if(entries_, [=](const Entry& entry) { return entry.second.get() == factory; });
    const qz::list<Identifier> listed = requestIdentifiers();
    for (const Identifier& identifier : listed) {
        if (find(identifier) == nullptr) {
            removeIdentifier(identifier);
        }
    }
}

} // namespace Common

#include "Common/Factory.h"

#include <algorithm>
#include <utility>

namespace Common {

Factory::~Factory() = default;

void Factory::destroyInstance(Identifiable* object) {
    if (object != nullptr) {
        object->addRef(); // for the destructor
        delete object;
    }
}

void Factory::createInstance(const Identifier& identifier, Identifiable** out) {
    *out = create(identifier);
    if (*out != nullptr) {
        (*out)->addRef();
    }
}

void Factory::addIdentifier(const Identifier& identifier) {
    if (places_.contains(identifier.getClassName())) {
        return;
    }
    Identifiers added{identifier};
    places_.emplace(added.front().getClassName(), added.begin());
    identifiers_.splice(identifiers_.end(), added);
    hasNew_ = true;
}

void Factory::removeIdentifier(const Identifier& identifier) {
    const auto place = places_.find(identifier.getClassName());
    if (place != places_.end()) {
        const Identifiers::iterator removed = place->second;
        places_.erase(place);
        identifiers_.erase(removed); // may be the identifier that was given
    }
}

// Empties the tables before it deletes factories, because their destructors may ask this manager.
FactoryManager::~FactoryManager() {
    const auto factories = std::exchange(factories_, {});
    places_.clear();
    const auto makers = std::exchange(makers_, {});
}

// The reference keeps the factory alive during a call, which may remove it.
Ref<Factory> FactoryManager::find(const Identifier& identifier) const {
    const auto makers = makers_.find(identifier.getClassName());
    return makers != makers_.end() ? makers->second.front() : Ref<Factory>();
}

Identifiable* FactoryManager::create(const Identifier& identifier) {
    const Ref<Factory> factory = find(identifier);
    return factory ? factory->create(identifier) : nullptr;
}

void FactoryManager::destroyInstance(Identifiable* object) {
    if (object == nullptr) {
        return;
    }
    if (const Ref<Factory> factory = find(object->getClassIdentifier())) {
        factory->destroyInstance(object);
    }
}

void FactoryManager::addFactory(Factory* factory) {
    if (factory == nullptr || factory == this || places_.contains(factory)) {
        return;
    }
    const auto& listed = factory->requestIdentifiers();
    Factories added;
    added.push_back({Ref<Factory>(factory), {listed.begin(), listed.end()}});
    places_.emplace(factory, added.begin());
    factories_.splice(factories_.end(), added);
    try {
        for (const Identifier& identifier : factories_.back().identifiers) {
            addMaker(identifier, factory);
        }
    } catch (...) {
        removeFactory(factory);
        throw;
    }
}

// Deletes the factory last, when the tables are whole again.
void FactoryManager::removeFactory(Factory* factory) {
    const auto place = places_.find(factory);
    if (place == places_.end()) {
        return;
    }
    const Added removed = std::move(*place->second);
    factories_.erase(place->second);
    places_.erase(place);
    for (const Identifier& identifier : removed.identifiers) {
        removeMaker(identifier, factory);
    }
    if (hasNew_) {
        removeUnmakeable();
    }
}

void FactoryManager::addMaker(const Identifier& identifier, Factory* factory) {
    const auto makers = makers_.try_emplace(identifier.getClassName()).first;
    makers->second.emplace_back(factory);
    const bool hostHasAdded = hasNew_;
    addIdentifier(identifier);
    hasNew_ = hostHasAdded;
}

void FactoryManager::removeMaker(const Identifier& identifier, const Factory* factory) {
    const auto makers = makers_.find(identifier.getClassName());
    if (makers == makers_.end()) {
        return;
    }
    std::erase_if(makers->second, [=](const Ref<Factory>& each) { return each.get() == factory; });
    if (makers->second.empty()) {
        makers_.erase(makers);
        removeIdentifier(identifier);
    }
}

// Removes the identifiers that the host has added to the manager itself.
void FactoryManager::removeUnmakeable() {
    for (auto next = identifiers_.begin(); next != identifiers_.end();) {
        const Identifier& identifier = *next++;
        if (!makers_.contains(identifier.getClassName())) {
            removeIdentifier(identifier);
        }
    }
    hasNew_ = false;
}

} // namespace Common

#include "Common/SharedObject.h"

Common::ISharedObject::~ISharedObject() = default;

Serializable::~Serializable() = default;

namespace Common {

Identifiable::~Identifiable() = default;

void Identifiable::setIdentifier(const Identifier& identifier) {
    identifier_ = identifier;
    onIdentifierSet();
}

const Identifier& Identifiable::getIdentifier() const {
    return identifier_;
}

const Identifier& Identifiable::getClassIdentifier() const {
    return identifier_;
}

void Identifiable::onIdentifierSet() {}

} // namespace Common

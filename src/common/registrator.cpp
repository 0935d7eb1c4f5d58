#include "Common/Factory.h"

namespace Common {

namespace {

void withManager(Registrator::GetManager getManager, Factory* factory,
                 void (FactoryManager::*change)(Factory*)) {
    FactoryManager* manager = nullptr;
    getManager(&manager);
    if (manager != nullptr) {
        (manager->*change)(factory);
        manager->release();
    }
}

} // namespace

Registrator::Registrator(GetManager getManager, Factory* factory)
    : getManager_(getManager), factory_(factory) {
    withManager(getManager_, factory_, &FactoryManager::addFactory);
}

Registrator::~Registrator() {
    withManager(getManager_, factory_, &FactoryManager::removeFactory);
}

} // namespace Common

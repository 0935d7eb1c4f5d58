#include "Util/System.h"

#include <utility>

System::~System() = default;

bool System::initialize() {
    return !std::exchange(initialized_, true);
}

bool System::uninitialize() {
    return std::exchange(initialized_, false);
}

bool System::reinitialize() {
    if (!initialized_) {
        return false;
    }
    uninitialize();
    return initialize();
}

bool System::initialized() const {
    return initialized_;
}

bool System::process() {
    return initialized();
}

#include "Random/RandomManager.h"

#include "core/until_unload.h"
#include "random/default_manager.h"

#include <algorithm>

namespace {

std::int32_t managedType(std::int32_t type) {
    return type == RandomObject::kNormal ? RandomObject::kNormal : RandomObject::kUniform;
}

const RandomTable& managedTable(std::int32_t type) {
    const RandomManager& manager = random_tables::defaultManager();
    return type == RandomObject::kNormal ? manager.getNormal() : manager.getUniform();
}

} // namespace

RandomManager& random_tables::defaultManager() {
    static RandomManager& manager = core::untilUnload(new RandomManager);
    return manager;
}

RandomSerializer::~RandomSerializer() = default;

RandomObject::RandomObject(std::int32_t type, std::uint32_t offset)
    : RandomObject(managedTable(type), managedType(type), offset) {}

RandomObject::RandomObject(const RandomTable& table, std::int32_t type, std::uint32_t offset)
    : type_(std::min<std::int32_t>(type, kCustom)) {
    read(table);
    setOffset(offset);
}

RandomObject::~RandomObject() = default;

void RandomObject::init(std::int32_t type, std::uint32_t offset) {
    setType(type);
    setOffset(offset);
}

void RandomObject::setType(std::int32_t type) {
    type_ = managedType(type);
    read(managedTable(type_));
}

void RandomObject::setOffset(std::uint32_t offset) {
    cursor_ = offset % size_;
}

void RandomObject::serialize(RandomSerializer& serializer) {
    std::int32_t type = type_;
    auto offset = static_cast<std::int32_t>(cursor_);
    serializer.transfer(type);
    serializer.transfer(offset);
    if (serializer.isLoading()) {
        init(type, static_cast<std::uint32_t>(offset));
    }
}

void RandomObject::read(const RandomTable& table) {
    static constexpr float kNothing = 0;
    values_ = table.empty() ? &kNothing : table.data();
    size_ = table.empty() ? 1 : static_cast<std::uint32_t>(table.size());
}

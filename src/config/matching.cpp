#include "config/matching.h"

namespace qz::config {

Entry& Matching::makeEntry() {
    Entry* const offered = std::exchange(offered_, nullptr);
    return offered == nullptr ? tree_.makeOriginal() : *offered;
}

void Matching::keep(Entry& entry, Position start) {
    const std::uint32_t offset = placeOf(start).offset;
    entry.place = {offset, placeOf(position_ - 1).end() - offset};
    output_->append(entry);
}

} // namespace qz::config

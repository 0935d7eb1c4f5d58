#include "config/matching.h"

namespace qz::config {

Entry& Matching::makeEntry() {
    Entry* const offered = std::exchange(offered_, nullptr);
    return offered == nullptr ? tree_.makeOriginal() : *offered;
}

void Matching::keep(Entry& entry, const Mark& start) {
    const Place first = start.position->place;
    entry.place = {first.offset, position_[-1].place.end() - first.offset};
    output_->append(entry);
}

} // namespace qz::config

#include "config/rule_tokens.h"

#include "config/matching.h"

#include <algorithm>

namespace qz::config {

bool AndRuleToken::matchTokens(Matching& matching) const {
    const Matching::Mark start = matching.mark();
    if (first_.matchTokens(matching) && second_.matchTokens(matching)) {
        return true;
    }
    matching.rewind(start);
    return false;
}

bool CountRuleToken::matchTokens(Matching& matching) const {
    const Matching::Mark start = matching.mark();
    int count = 0;
    while (count != maximum_ && element_.matchTokens(matching)) {
        ++count;
    }
    if (count >= minimum_) {
        return true;
    }
    matching.rewind(start);
    return false;
}

bool BlockToken::matchTokens(Matching& matching) const {
    if (!isAssignment() && matching.isDeepest()) {
        return matching.fail();
    }
    const Matching::Mark start = matching.mark();
    if (!open_.matchTokens(matching)) {
        return false;
    }
    Entry& entry = openEntry(matching, start);
    EntryList kept{};
    bool isMatch = false;
    {
        const Matching::Nesting nesting(matching, kept, isAssignment() ? 0 : 1);
        isMatch = inner_.matchTokens(matching) && close_.matchTokens(matching);
    }
    if (!isMatch) {
        matching.offerForValue(nullptr);
        matching.rewind(start);
        return false;
    }
    closeEntry(entry, kept);
    matching.keep(entry, start.position);
    return true;
}

Entry& BlockToken::openEntry(Matching& matching, const Matching::Mark& start) const {
    if (type_ == Type::kList) {
        return matching.makeEntry();
    }
    NamedEntry& entry = matching.makeEntry(matching.textOf(matching.placeOf(start.position)));
    if (isAssignment()) {
        matching.offerForValue(&entry);
    }
    return entry;
}

void BlockToken::closeEntry(Entry& entry, EntryList kept) const {
    if (isAssignment()) {
        static_cast<NamedEntry&>(entry).valuePlace = entry.place;
    } else {
        entry.type = type_;
        entry.entries = kept;
    }
}

bool ChainToken::matchTokens(Matching& matching) const {
    const Matching::Position start = matching.position();
    const bool isMatch = std::all_of(links_.begin(), links_.end(),
                                     [&](const auto& link) { return matching.expect(link.get()); });
    if (!isMatch) {
        matching.returnTo(start);
    }
    return isMatch;
}

} // namespace qz::config

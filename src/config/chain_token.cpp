#include "config/chain_token.h"

#include "config/matching.h"

#include <algorithm>

namespace qz::config {

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

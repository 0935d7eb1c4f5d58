#include "config/chain_token.h"

#include "config/matching.h"

#include <algorithm>

namespace qz::config {

bool ChainToken::matchTokens(Matching& matching) const {
    const Matching::Mark start = matching.mark();
    const bool isMatch = std::all_of(links_.begin(), links_.end(),
                                     [&](const auto& link) { return matching.expect(link.get()); });
    if (!isMatch) {
        matching.rewind(start);
    }
    return isMatch;
}

} // namespace qz::config

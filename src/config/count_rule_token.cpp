#include "config/count_rule_token.h"

#include "config/matching.h"

namespace qz::config {

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

} // namespace qz::config

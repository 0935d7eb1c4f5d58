#include "config/and_rule_token.h"

#include "config/matching.h"

namespace qz::config {

bool AndRuleToken::matchTokens(Matching& matching) const {
    const Matching::Mark start = matching.mark();
    if (first_.matchTokens(matching) && second_.matchTokens(matching)) {
        return true;
    }
    matching.rewind(start);
    return false;
}

} // namespace qz::config

#include "config/token.h"

#include "config/matching.h"

#include <typeinfo>

namespace qz::config {

std::size_t Token::matchText(Input& /*input*/, std::size_t /*offset*/) const {
    return 0;
}

bool Token::matchTokens(Matching& matching) const {
    return matching.expect(this);
}

bool Token::isEqual(const Token& other) const {
    return typeid(*this) == typeid(other) && text_ == other.text_;
}

bool Token::canBegin(unsigned char /*character*/) const {
    return false;
}

} // namespace qz::config

#include "Mail/Stream.h"

namespace Mail {

Stream::Stream(Direction direction, const Message& message)
    : direction_(static_cast<std::uint32_t>(direction)), body_(message.body_) {}

Stream::~Stream() = default;

} // namespace Mail

/* Two rings in shared memory between a host that simulates and those that watch it. */
#ifndef QZ_HOST_CHANNEL_H
#define QZ_HOST_CHANNEL_H

#include "Mail/Message.h"
#include "Shm/RingBuffer.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/* What a watcher tells: the newest state that it has of a sender; 0 if it has none. */
struct Confirmation {
    std::uint32_t watcher;
    std::uint32_t session;
    std::uint32_t state;
};

/* Each party opens one, in any order; the rings go with the last. Whoever is killed leaves nothing
 * that others trip over. Nobody waits: what a ring has no room for any more is lost. */
class Channel {
public:
    /* Throws UserError. */
    explicit Channel(const std::string& name);

    void send(const Mail::Message& message);

    /* The next message of a state; nothing if there is none. */
    std::optional<Mail::Message> receive();

    void confirm(const Confirmation& confirmation);

    /* Leaves out those that are older than some seconds: who wrote them may not live. */
    std::optional<Confirmation> takeConfirmation();

private:
    CRingMessageBuffer states_;
    CRingMessageBuffer confirmations_;
    std::vector<char> bytes_;
};

#endif

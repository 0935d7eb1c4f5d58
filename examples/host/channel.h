/* Two rings in shared memory between a host that simulates and the hosts that watch it. */
#ifndef QZ_HOST_CHANNEL_H
#define QZ_HOST_CHANNEL_H

#include "Mail/Message.h"
#include "Shm/RingBuffer.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/* A watcher's report of the newest state that it has of a sender; 0 if it has none. */
struct Confirmation {
    std::uint32_t watcher;
    std::uint32_t session;
    std::uint32_t state;
};

/* Each host opens one, in any order; the rings are freed with the last one. A killed host does not
 * disturb the others. Nobody waits: a full ring loses its oldest messages. */
class Channel {
public:
    /* Throws UserError. */
    explicit Channel(const std::string& name);

    /* For the one who sends, before that. Throws UserError if somebody else does so already. */
    void claim();

    void send(const Mail::Message& message);

    /* The next message of a state; empty if there is none. */
    std::optional<Mail::Message> receive();

    void confirm(const Confirmation& confirmation);

    /* Leaves out confirmations older than some seconds, because their writer may have died. */
    std::optional<Confirmation> takeConfirmation();

private:
    const std::string name_;
    CRingMessageBuffer claims_; // open where somebody sends
    CRingMessageBuffer states_;
    CRingMessageBuffer confirmations_;
    std::vector<char> bytes_;
};

#endif

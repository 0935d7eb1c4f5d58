/* Where the ferries are, for those who cannot ask them all the time. */
#ifndef QZ_HOST_LOOKOUT_H
#define QZ_HOST_LOOKOUT_H

#include "fleet_state.h"
#include "letters.h"

#include "Mail/Server.h"

/* Ferries tell their position a few times a second; in between it is predicted, as the other side
 * of a network has to do. */
class Lookout : public Mail::Mailbox {
public:
    Lookout();

    bool receive(const Mail::Message& message) override;

    /* Once a frame. */
    void update(double seconds);

    const LookoutState& state() const { return state_; }
    void resume(const LookoutState& state) { state_ = state; }

    /* How far the predictions were from the next report, on average. */
    double meanError() const { return state_.predicted == 0 ? 0 : state_.error / state_.predicted; }

private:
    LookoutState state_;
};

#endif

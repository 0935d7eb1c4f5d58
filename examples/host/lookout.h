/* The positions of the ferries, predicted between their reports. */
#ifndef QZ_HOST_LOOKOUT_H
#define QZ_HOST_LOOKOUT_H

#include "fleet_state.h"
#include "letters.h"

#include "Mail/Server.h"

/* Ferries report their position a few times a second; in between the lookout predicts it, as the
 * other side of a network would. */
class Lookout : public Mail::Mailbox {
public:
    Lookout();

    bool receive(const Mail::Message& message) override;

    /* Once a frame. */
    void update(double seconds);

    const LookoutState& state() const { return state_; }
    void resume(const LookoutState& state) { state_ = state; }

    /* The average distance between a prediction and the next report. */
    double meanError() const { return state_.predicted == 0 ? 0 : state_.error / state_.predicted; }

private:
    LookoutState state_;
};

#endif

/* Where the ferries are, for those who cannot ask them all the time. */
#ifndef QZ_HOST_LOOKOUT_H
#define QZ_HOST_LOOKOUT_H

#include "geometry.h"
#include "letters.h"

#include "Mail/Server.h"
#include "Math/Predictor.h"

#include <map>

/* Ferries tell their position a few times a second; in between it is predicted, as the other side
 * of a network has to do. */
class Lookout : public Mail::Mailbox {
public:
    Lookout();

    bool receive(const Mail::Message& message) override;

    /* Once a frame. */
    void update(double seconds);

    int reports() const { return reports_; }

    /* How far the predictions were from the next report, on average. */
    double meanError() const { return predicted_ == 0 ? 0 : error_ / predicted_; }

private:
    struct Track {
        Math::Predictor3 x, y;
    };

    std::map<std::uint32_t, Track> tracks_;
    double tick_ = 0; // a frame, in seconds
    int reports_ = 0;
    int predicted_ = 0;
    double error_ = 0;
};

#endif

/* The harbours and ferries of a world. */
#ifndef QZ_HOST_FLEET_H
#define QZ_HOST_FLEET_H

#include "course.h"
#include "ferry.h"
#include "harbour.h"
#include "logbook.h"
#include "lookout.h"
#include "world.h"

#include <vector>

class Fleet {
public:
    /* Registers ferries, harbours and lookout with the library's mail server. The tasks of ferries
     * refer to the fleet: they must have ended, or be discarded, before it is destroyed. */
    Fleet(const World& world, Logbook& logbook);
    ~Fleet();

    Fleet(const Fleet&) = delete;
    Fleet& operator=(const Fleet&) = delete;

    /* Call one of these first: the fleet begins anew, or continues from a state. Returns false and
     * changes nothing if the state is of another world. */
    void begin();
    bool resume(const FleetState& state);

    FleetState state() const;

    /* Once a frame, with the time that has passed. */
    void update(double seconds);

    int arrivals() const { return arrivals_; }
    const Lookout& lookout() const { return *lookout_; }

private:
    bool fits(const FleetState& state) const;
    Mem::Ptr<Harbour> harbour(const std::string& name) const;
    void add(const FerryData& data);
    void noteArrival(const Ferry& ferry, const Harbour& harbour);

    Logbook& logbook_;
    std::uint32_t world_;
    Sea sea_;
    std::vector<Mem::Ptr<Harbour>> harbours_;
    std::vector<Mem::Ptr<Ferry>> ferries_;
    Mem::Ptr<Lookout> lookout_;
    std::uint32_t frames_ = 0;
    double time_ = 0;
    int arrivals_ = 0;
};

#endif

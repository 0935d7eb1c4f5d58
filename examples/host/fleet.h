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
    /* Registers everybody with the library's mail server. images: of the world's ferries; those
     * that are missing begin anew. The tasks of ferries refer to the fleet: they have to be over,
     * or discarded, before it goes. */
    Fleet(const World& world, const std::vector<FerryImage>& images, Logbook& logbook);
    ~Fleet();

    Fleet(const Fleet&) = delete;
    Fleet& operator=(const Fleet&) = delete;

    /* Once a frame, with the time that has passed. */
    void update(double seconds);

    std::vector<FerryImage> images() const;

    int arrivals() const { return arrivals_; }
    const Lookout& lookout() const { return *lookout_; }

private:
    Mem::Ptr<Harbour> harbour(const std::string& name) const;
    void add(const FerryData& data, const FerryImage& image);
    void noteArrival(const Ferry& ferry, const Harbour& harbour);

    Logbook& logbook_;
    Sea sea_;
    std::vector<Mem::Ptr<Harbour>> harbours_;
    std::vector<Mem::Ptr<Ferry>> ferries_;
    Mem::Ptr<Lookout> lookout_;
    double time_ = 0;
    int arrivals_ = 0;
};

#endif

/* A ferry sails from harbour to harbour, round and round. */
#ifndef QZ_HOST_FERRY_H
#define QZ_HOST_FERRY_H

#include "course.h"
#include "fleet_image.h"
#include "harbour.h"
#include "letters.h"

#include "Common/FSM.h"
#include "Mail/Server.h"
#include "Random/RandomManager.h"

#include <functional>
#include <string>
#include <vector>

/* Moored for a while, it has the course to its next harbour found by a worker thread, which answers
 * through the main thread; then it asks that harbour for a berth, again and again until it gets
 * one, and sails. All of its functions are for the main thread. */
class Ferry : public Mail::Mailbox, private Common::FSM, private Common::FSM::SymbolRecepient {
public:
    class Tables : public Common::FSM::Descriptor {
    public:
        void load() override;
    };

    using Route = std::vector<Mem::Ptr<Harbour>>;
    using OnArrival = std::function<void(const Ferry&, const Harbour&)>;

    /* speed: in points a second. sea: lives longer than the ferry. */
    Ferry(std::uint32_t address, std::string name, double speed, Route route, const Sea& sea,
          const FerryImage& image, OnArrival onArrival);

    const std::string& name() const { return name_; }

    /* Where it is, or is going to be. */
    FerryImage image() const;

    /* Takes a berth where the image leaves it, if there is one. When it has a mailbox. */
    void begin();

    /* Once a frame. */
    void update(double seconds);

    bool receive(const Mail::Message& message) override;

private:
    /* A search under way. The ferry owns it, so that nothing is lost if its task is discarded. */
    struct Search {
        Ferry* ferry;
        Point from, to;
        std::vector<Point> course;
    };

    static Common::FSM::Descriptor* tables();
    static void findOnWorker(void* search);
    static void takeOnMainThread(void* search);

    void onOutputSymbol(std::uint32_t symbol) override;
    void startSearch();
    void castOff();
    void moor();
    void sail(double seconds);
    void advance(double left);
    void report(double seconds);
    void tellPosition() const;
    double nextStay();

    const Mem::Ptr<Harbour>& here() const { return route_[leg_]; }
    const Mem::Ptr<Harbour>& next() const { return route_[(leg_ + 1) % route_.size()]; }

    std::string name_;
    double speed_;
    Route route_;
    const Sea& sea_;
    OnArrival onArrival_;
    std::size_t leg_ = 0;
    Point position_;
    Point velocity_{};
    RandomObject random_; // for how long it stays
    double stay_;
    double untilReport_ = 0;
    double waited_ = 0; // seconds since the state began, or since it asked last
    Search search_{};
    std::size_t reached_ = 0; // points of the course
};

#endif

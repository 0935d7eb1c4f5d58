/* A ferry sails from harbour to harbour, round and round. */
#ifndef QZ_HOST_FERRY_H
#define QZ_HOST_FERRY_H

#include "course.h"
#include "fleet_state.h"
#include "harbour.h"
#include "letters.h"

#include "Common/FSM.h"
#include "Mail/Server.h"
#include <functional>
#include <string>
#include <vector>

/* Moored for a while, it has the course to its next harbour found by a worker thread, which answers
 * through the main thread. The answer counts from a fixed time on, however long the worker takes:
 * the same world goes the same way on every machine. Then it asks that harbour for a berth, again
 * and again until it gets one, and sails. All of its functions are for the main thread. */
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
          OnArrival onArrival);

    const std::string& name() const { return name_; }

    /* Begins where its route does, with random numbers from this place on. When it has a mailbox.
     */
    void begin(std::uint32_t randomOffset);

    /* Goes on from a state instead, one that fits: that may be its own. */
    bool fits(const FerryState& state) const;
    void resume(const FerryState& state);

    FerryState state() const;

    /* Once a frame. */
    void update(double seconds);

    bool receive(const Mail::Message& message) override;

private:
    /* A search under way. The ferry owns it, so that nothing is lost if its task is discarded. */
    struct Search {
        Ferry* ferry;
        Point from, to;
        std::vector<Point> course;
        bool isOver; // for the main thread
    };

    static Common::FSM::Descriptor* tables();
    static void findOnWorker(void* search);
    static void takeOnMainThread(void* search);

    void onOutputSymbol(std::uint32_t symbol) override;
    void startSearch();
    void takeCourse();
    void castOff();
    void moor();
    void sail(double seconds);
    void advance(double left);
    void report(double seconds);
    void tellPosition() const;
    double nextStay();

    const Mem::Ptr<Harbour>& here() const { return route_[state_.leg]; }
    const Mem::Ptr<Harbour>& next() const { return route_[nextLeg()]; }
    std::uint32_t nextLeg() const {
        return static_cast<std::uint32_t>((state_.leg + 1) % route_.size());
    }

    std::string name_;
    double speed_;
    Route route_;
    const Sea& sea_;
    OnArrival onArrival_;
    FerryState state_; // but for the machine, which keeps its own
    Search search_{};
};

#endif

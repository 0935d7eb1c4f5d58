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

/* While it is moored, a worker thread finds the course to its next harbour, and answers through the
 * main thread. The answer counts from a fixed time on, however long the worker takes, so that the
 * same world behaves the same on every machine. Then the ferry asks that harbour for a berth until
 * it gets one, and sails. All functions are for the main thread. */
class Ferry : public Mail::Mailbox, private Common::FSM, private Common::FSM::SymbolRecepient {
public:
    class Tables : public Common::FSM::Descriptor {
    public:
        void load() override;
    };

    using Route = std::vector<Mem::Ptr<Harbour>>;
    using OnArrival = std::function<void(const Ferry&, const Harbour&)>;

    /* speed: in points a second. sea: must outlive the ferry. */
    Ferry(std::uint32_t address, std::string name, double speed, Route route, const Sea& sea,
          OnArrival onArrival);

    const std::string& name() const { return name_; }

    /* Begins at the start of its route, with random numbers from this offset on. Call it after the
     * ferry was added to the mail server. */
    void begin(std::uint32_t randomOffset);

    /* Instead of beginning, continues from a state. fits: whether the state may be this ferry's. */
    bool fits(const FerryState& state) const;
    void resume(const FerryState& state);

    FerryState state() const;

    /* Once a frame. */
    void update(double seconds);

    bool receive(const Mail::Message& message) override;

private:
    /* A running search. The ferry owns it, so that nothing leaks if its task is discarded. */
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
    FerryState state_; // without the machine's state, which the machine keeps
    Search search_{};
};

#endif

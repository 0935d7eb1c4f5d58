/* Actors that walk about and write to each other. */
#ifndef QZ_SERVER_ACTOR_H
#define QZ_SERVER_ACTOR_H

#include "settings.h"
#include "world.h"

#include "Mail/Server.h"

#include <random>

/* Messages hold it as it is in memory, because it has no padding. */
struct Letter {
    std::uint32_t sender, isAnswer;
    Point place; // where the sender is
    bool operator==(const Letter&) const = default;
};

/* An actor's part of a snapshot. */
struct ActorState {
    std::uint32_t unit; // index in World::units
    Point place;
    Letter letters[4]; // the last ones
    Way way;           // from its place to its goal: one cell or more
    bool operator==(const ActorState&) const = default;
};

/* For the main thread, except the search. Shut down the tasks before it is destroyed. */
class Actor : public Mail::Mailbox {
public:
    Actor(std::uint32_t ownAddress, const World& world, Mail::Server& mail, const ActorState& start)
        : Mailbox(ownAddress), world_(world), mail_(mail), state_(start) {}

    const ActorState& state() const { return state_; }
    bool wantsWay() const { return state_.way.size() == 1 && !isSearching_; }

    void startSearch(Cell goal); // for a way, on a worker
    void walk(double seconds);
    void write(std::uint32_t receiver, bool isAnswer = false) const;
    bool receive(const Mail::Message& message) override;

    static inline unsigned long long letters = 0, ways = 0; // of all actors

private:
    const World& world_;
    Mail::Server& mail_;
    ActorState state_;
    std::size_t received_ = 0;
    bool isSearching_ = false;
    Cell goal_ = 0; // this and found_ are the worker's while it searches
    Way found_;
};

/* All actors, with addresses from 1 on. */
class Crowd {
public:
    static constexpr std::uint32_t kActors = 1000;

    explicit Crowd(const World& world);
    const std::vector<Mem::Ptr<Actor>>& actors() const { return actors_; }
    void update(const Settings& settings); // one frame

private:
    std::uint32_t pick(std::size_t count) { return static_cast<std::uint32_t>(random_() % count); }

    const World& world_;
    Mail::ServerImpl mail_{kActors + 1}; // with globalMail others could write to them, too
    std::vector<Mem::Ptr<Actor>> actors_;
    std::minstd_rand random_; // the same in every run
    double lettersDue_ = 0;
};

#endif

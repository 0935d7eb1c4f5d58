#include "ferry.h"

#include "logging.h"

#include "Common/Profiler.h"
#include "Core/Log.h"
#include "Tasks/TaskManager.h"

namespace {

constexpr double kShortestStay = 0.4;
constexpr double kLongestStay = 0.9;
constexpr double kSecondsBetweenReports = 0.2;
constexpr double kSecondsBetweenQuestions = 0.25;

enum State : std::uint32_t { kMoored, kPlanning, kWaiting, kSailing };

enum Symbol : std::uint32_t {
    // what happens
    kTimeIsUp,
    kCourseFound,
    kNoCourse,
    kGranted,
    kRefused,
    kArrived,
    // what is to be done
    kFindCourse,
    kAskForBerth,
    kCastOff,
    kMoor,
};

} // namespace

void Ferry::Tables::load() {
    constexpr auto kNoSymbol = FSM::NO_SYMBOL;
    constexpr auto kKeep = FSM::kKeepStack;
    clear();
    setInitialState(kMoored);
    addTransition(kMoored, kTimeIsUp, kFindCourse, kPlanning, kKeep);
    addTransition(kPlanning, kCourseFound, kAskForBerth, kWaiting, kKeep);
    addTransition(kPlanning, kNoCourse, kNoSymbol, kMoored, kKeep);
    addTransition(kWaiting, kTimeIsUp, kAskForBerth, FSM::NO_STATE, kKeep);
    addTransition(kWaiting, kGranted, kCastOff, kSailing, kKeep);
    addTransition(kSailing, kArrived, kMoor, kMoored, kKeep);
    setInitializied();
}

/* All ferries share one. */
Common::FSM::Descriptor* Ferry::tables() {
    static Tables shared;
    if (!shared.isInitializied()) {
        shared.load();
    }
    return &shared;
}

Ferry::Ferry(std::uint32_t ownAddress, std::string name, double speed, Route route, const Sea& sea,
             const FerryImage& image, OnArrival onArrival)
    : Mailbox(ownAddress)
    , FSM("ferry")
    , name_(std::move(name))
    , speed_(speed)
    , route_(std::move(route))
    , sea_(sea)
    , onArrival_(std::move(onArrival))
    , leg_(image.stop % route_.size())
    , position_(here()->place())
    , random_(image.random, static_cast<std::uint32_t>(image.randomOffset))
    , stay_(nextStay()) {
    init(tables(), this);
}

void Ferry::begin() {
    post(here()->address, {Letter::Kind::askBerth, address});
}

/* A ferry that sails has a berth where it sails to. */
FerryImage Ferry::image() const {
    const std::size_t stop = getState() == kSailing ? (leg_ + 1) % route_.size() : leg_;
    return {static_cast<std::uint32_t>(stop), random_.getType(),
            static_cast<std::int32_t>(random_.getOffset())};
}

double Ferry::nextStay() {
    return kShortestStay + (kLongestStay - kShortestStay) * static_cast<double>(random_.get());
}

void Ferry::update(double seconds) {
    // Harbours answer while the machine that asks is still busy, so what they say waits here.
    while (!symbolsQueueIsEmpty()) {
        checkSymbolsQueue();
    }
    waited_ += seconds;
    if (getState() == kSailing) {
        sail(seconds);
    } else if (waited_ > (getState() == kMoored ? stay_ : kSecondsBetweenQuestions)) {
        onSymbol(kTimeIsUp);
    }
}

bool Ferry::receive(const Mail::Message& message) {
    switch (readLetter(message).kind) {
    case Letter::Kind::berthGranted:
        onSymbol(kGranted);
        return true;
    case Letter::Kind::berthRefused:
        onSymbol(kRefused); // which changes nothing: it asks again when the time is up
        return true;
    default:
        return false;
    }
}

void Ferry::onOutputSymbol(std::uint32_t symbol) {
    waited_ = 0;
    switch (symbol) {
    case kFindCourse:
        return startSearch();
    case kAskForBerth:
        post(next()->address, {Letter::Kind::askBerth, address});
        return;
    case kCastOff:
        return castOff();
    default:
        return moor();
    }
}

void Ferry::startSearch() {
    search_ = {this, here()->place(), next()->place(), {}};
    QZ_add_task(&search_, findOnWorker);
}

/* An exception must not leave a task; a course that finds no memory is none. */
void Ferry::findOnWorker(void* search) {
    const Common::ProfiledFunc section("find course");
    auto& mine = *static_cast<Search*>(search);
    try {
        mine.course = findCourse(mine.ferry->sea_, mine.from, mine.to);
    } catch (const std::bad_alloc&) {
        mine.course.clear();
    }
    QZ_add_main_thread_task(search, takeOnMainThread);
}

void Ferry::takeOnMainThread(void* search) {
    Ferry& ferry = *static_cast<Search*>(search)->ferry;
    if (ferry.search_.course.empty()) {
        hostLog(QZ_LOG_WARNING, "%s finds no way from %s to %s", ferry.name_.c_str(),
                ferry.here()->name().c_str(), ferry.next()->name().c_str());
    }
    ferry.onSymbol(ferry.search_.course.empty() ? kNoCourse : kCourseFound);
}

void Ferry::castOff() {
    post(here()->address, {Letter::Kind::berthLeft, address});
    hostLog(QZ_LOG_DEBUG, "%s leaves %s for %s", name_.c_str(), here()->name().c_str(),
            next()->name().c_str());
    reached_ = 0;
}

void Ferry::moor() {
    leg_ = (leg_ + 1) % route_.size();
    position_ = here()->place();
    velocity_ = {};
    tellPosition(); // or it would be expected to sail on
    stay_ = nextStay();
    onArrival_(*this, *here());
}

void Ferry::sail(double seconds) {
    const Point before = position_;
    advance(speed_ * seconds);
    velocity_ = {(position_.x - before.x) / seconds, (position_.y - before.y) / seconds};
    report(seconds);
    if (reached_ == search_.course.size()) {
        onSymbol(kArrived);
    }
}

void Ferry::report(double seconds) {
    untilReport_ -= seconds;
    if (untilReport_ <= 0) {
        untilReport_ += kSecondsBetweenReports;
        tellPosition();
    }
}

void Ferry::tellPosition() const {
    post(kLookout, {Letter::Kind::position, address, {position_, velocity_}});
}

void Ferry::advance(double left) {
    const std::vector<Point>& course = search_.course;
    while (reached_ < course.size()) {
        const double toNext = distance(position_, course[reached_]);
        if (toNext > left) {
            position_ = towards(position_, course[reached_], left);
            return;
        }
        left -= toNext;
        position_ = course[reached_++];
    }
}

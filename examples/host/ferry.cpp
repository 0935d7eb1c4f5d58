#include "ferry.h"

#include "logging.h"

#include "Common/Profiler.h"
#include "Core/Log.h"
#include "Tasks/TaskManager.h"

#include <thread>

namespace {

constexpr double kShortestStay = 0.4;
constexpr double kLongestStay = 0.9;
constexpr double kSecondsBetweenReports = 0.2;
constexpr double kSecondsForPlanning = 0.1;
constexpr double kSecondsBetweenQuestions = 0.25;

enum State : std::uint32_t { kMoored, kPlanning, kWaiting, kSailing };

enum Symbol : std::uint32_t {
    // input symbols
    kTimeIsUp,
    kCourseFound,
    kNoCourse,
    kGranted,
    kRefused,
    kArrived,
    // output symbols
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

/* All ferries share one table. */
Common::FSM::Descriptor* Ferry::tables() {
    static Tables shared;
    if (!shared.isInitializied()) {
        shared.load();
    }
    return &shared;
}

Ferry::Ferry(std::uint32_t ownAddress, std::string name, double speed, Route route, const Sea& sea,
             OnArrival onArrival)
    : Mailbox(ownAddress)
    , FSM("ferry")
    , name_(std::move(name))
    , speed_(speed)
    , route_(std::move(route))
    , sea_(sea)
    , onArrival_(std::move(onArrival)) {
    init(tables(), this);
}

void Ferry::begin(std::uint32_t randomOffset) {
    state_.position = here()->place();
    state_.random.setOffset(randomOffset);
    state_.stay = nextStay();
    post(here()->address, {Letter::Kind::askBerth, address});
}

bool Ferry::fits(const FerryState& state) const {
    return state.leg < route_.size() && state.machine.state <= kSailing;
}

/* A search that was running when the state was saved begins again, with the same result. */
void Ferry::resume(const FerryState& state) {
    state_ = state;
    restore(state.machine);
    if (getState() == kPlanning) {
        startSearch();
    }
}

FerryState Ferry::state() const {
    FerryState state = state_;
    state.machine = getSnapshot();
    return state;
}

double Ferry::nextStay() {
    return kShortestStay +
           (kLongestStay - kShortestStay) * static_cast<double>(state_.random.get());
}

void Ferry::update(double seconds) {
    // A harbour answers while the asking ferry's machine is still busy, so the answer is queued.
    while (!symbolsQueueIsEmpty()) {
        checkSymbolsQueue();
    }
    state_.waited += seconds;
    if (getState() == kSailing) {
        sail(seconds);
    } else if (getState() == kPlanning) {
        if (state_.waited > kSecondsForPlanning) {
            takeCourse();
        }
    } else if (state_.waited > (getState() == kMoored ? state_.stay : kSecondsBetweenQuestions)) {
        onSymbol(kTimeIsUp);
    }
}

bool Ferry::receive(const Mail::Message& message) {
    switch (readLetter(message).kind) {
    case Letter::Kind::berthGranted:
        onSymbol(kGranted);
        return true;
    case Letter::Kind::berthRefused:
        onSymbol(kRefused); // changes nothing: the ferry asks again when the time is up
        return true;
    default:
        return false;
    }
}

void Ferry::onOutputSymbol(std::uint32_t symbol) {
    state_.waited = 0;
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
    search_ = {this, here()->place(), next()->place(), {}, false};
    QZ_add_task(&search_, findOnWorker);
}

/* An exception must not leave a task; without memory there is no course. */
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
    static_cast<Search*>(search)->isOver = true;
}

/* Mostly the search has ended long before. */
void Ferry::takeCourse() {
    while (!search_.isOver) {
        QZ_make_main_thread_task(0);
        std::this_thread::yield();
    }
    state_.course = std::move(search_.course);
    state_.reached = 0;
    if (state_.course.empty()) {
        hostLog(QZ_LOG_WARNING, "%s finds no way from %s to %s", name_.c_str(),
                here()->name().c_str(), next()->name().c_str());
    }
    onSymbol(state_.course.empty() ? kNoCourse : kCourseFound);
}

void Ferry::castOff() {
    post(here()->address, {Letter::Kind::berthLeft, address});
    hostLog(QZ_LOG_DEBUG, "%s leaves %s for %s", name_.c_str(), here()->name().c_str(),
            next()->name().c_str());
}

void Ferry::moor() {
    state_.leg = nextLeg();
    state_.position = here()->place();
    state_.velocity = {};
    tellPosition(); // otherwise the prediction would sail on
    state_.stay = nextStay();
    onArrival_(*this, *here());
}

void Ferry::sail(double seconds) {
    const Point before = state_.position;
    advance(speed_ * seconds);
    state_.velocity = {(state_.position.x - before.x) / seconds,
                       (state_.position.y - before.y) / seconds};
    report(seconds);
    if (state_.reached == state_.course.size()) {
        onSymbol(kArrived);
    }
}

void Ferry::report(double seconds) {
    state_.untilReport -= seconds;
    if (state_.untilReport <= 0) {
        state_.untilReport += kSecondsBetweenReports;
        tellPosition();
    }
}

void Ferry::tellPosition() const {
    post(kLookout, {Letter::Kind::position, address, {state_.position, state_.velocity}});
}

void Ferry::advance(double left) {
    const std::vector<Point>& course = state_.course;
    while (state_.reached < course.size()) {
        const double toNext = distance(state_.position, course[state_.reached]);
        if (toNext > left) {
            state_.position = towards(state_.position, course[state_.reached], left);
            return;
        }
        left -= toNext;
        state_.position = course[state_.reached++];
    }
}

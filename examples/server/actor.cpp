#include "actor.h"

#include "Common/Profiler.h"
#include "Mail/Stream.h"
#include "Tasks/TaskManager.h"

#include <algorithm>
#include <cmath>

/* If memory runs out on the worker, the process ends with a crash report. */
void Actor::startSearch(Cell goal) {
    isSearching_ = true;
    goal_ = goal;
    QZ_add_task(this, [](void* actor) {
        const Common::ProfiledFunc section("find way");
        auto& mine = *static_cast<Actor*>(actor);
        mine.found_ = mine.world_.findWay(mine.state_.way.front(), mine.goal_);
        QZ_add_main_thread_task(actor, [](void* searcher) {
            auto& other = *static_cast<Actor*>(searcher);
            other.isSearching_ = false;
            if (!other.found_.empty()) {
                other.state_.way.swap(other.found_);
                ++ways;
            }
        });
    });
}

void Actor::walk(double seconds) {
    const Unit& unit = world_.units[state_.unit];
    const Point to = World::centre(state_.way.front());
    Point& at = state_.place;
    if (const double left = std::hypot(to.x - at.x, to.y - at.y); left > unit.size) {
        const double part = std::min(1.0, unit.speed * seconds / left);
        at = {at.x + (to.x - at.x) * part, at.y + (to.y - at.y) * part};
    } else if (state_.way.size() > 1) {
        state_.way.erase(state_.way.begin());
    }
}

void Actor::write(std::uint32_t receiver, bool isAnswer) const {
    const Mail::Message message(receiver);
    Mail::Writer writer(message);
    Letter letter{address, isAnswer, state_.place};
    writer.transfer(letter);
    writer.finish(); // before that the message is empty
    mail_.send(message);
    ++letters;
}

/* Ignores a sender that is too far away. */
bool Actor::receive(const Mail::Message& message) {
    Letter letter{};
    Mail::Reader(message).transfer(letter);
    if (std::hypot(letter.place.x - state_.place.x, letter.place.y - state_.place.y) >
        world_.units[state_.unit].radius) {
        return false;
    }
    state_.letters[received_++ % std::size(state_.letters)] = letter;
    if (letter.isAnswer == 0) {
        write(letter.sender, true);
    }
    return true;
}

Crowd::Crowd(const World& world) : world_(world) {
    const auto kinds = static_cast<std::uint32_t>(world.units.size());
    for (std::uint32_t i = 0; i < kActors; ++i) {
        const Cell cell = world.floor[pick(world.floor.size())];
        actors_.emplace_back(
            new Actor(i + 1, world, mail_, {i % kinds, World::centre(cell), {}, {cell}}));
        mail_.addMailbox(actors_.back());
    }
}

/* Steps have the nominal length of a frame, so that N frames do the same on slow machines. */
void Crowd::update(const Settings& settings) {
    const Common::ProfiledFunc section("crowd");
    const double seconds = settings.paused ? 0 : 1 / settings.frameRate;
    int searches = 0;
    for (const auto& actor : actors_) {
        if (actor->wantsWay() && ++searches <= settings.searches) {
            actor->startSearch(world_.floor[pick(world_.floor.size())]);
        }
        actor->walk(seconds);
    }
    for (lettersDue_ += settings.letters * kActors * seconds; lettersDue_ >= 1; --lettersDue_) {
        actors_[pick(kActors)]->write(1 + pick(kActors));
    }
}

#include "course.h"

#include <algorithm>
#include <queue>

namespace {

constexpr double kCell = 16;
constexpr double kClearance = 6;
constexpr std::size_t kNowhere = ~std::size_t{0};

/* A* over the cells of a grid. */
class Search {
public:
    Search(const Sea& sea, Point from, Point to)
        : columns_(cells(sea.width))
        , rows_(cells(sea.height))
        , cost_(columns_ * rows_, kUnreached)
        , cameFrom_(columns_ * rows_, kNowhere)
        , isLand_(columns_ * rows_)
        , start_(cellAt(from))
        , goal_(cellAt(to)) {
        for (std::size_t cell = 0; cell < isLand_.size(); ++cell) {
            isLand_[cell] = std::ranges::any_of(sea.shores, [&](const Circle& shore) {
                return distance(centre(cell), shore.centre) < shore.radius + kClearance;
            });
        }
        isLand_[start_] = isLand_[goal_] = false; // harbours are on the shore
    }

    std::vector<Point> run() {
        reach(start_, kNowhere, 0);
        while (!open_.empty()) {
            const Candidate next = open_.top();
            open_.pop();
            if (next.cell == goal_) {
                return courseTo(goal_);
            }
            if (next.cost <= cost_[next.cell]) { // otherwise a shorter way was found
                lookAround(next.cell);
            }
        }
        return {};
    }

private:
    struct Candidate {
        double estimate, cost; // cost of the whole way, estimated; cost so far
        std::size_t cell;

        bool operator<(const Candidate& other) const { return estimate > other.estimate; }
    };

    static constexpr double kUnreached = 1e30;

    static std::size_t cells(int length) { return static_cast<std::size_t>(length / kCell) + 1; }

    std::size_t cellAt(Point point) const {
        const auto index = [](double at, std::size_t count) {
            return static_cast<std::size_t>(
                std::clamp(at / kCell, 0.0, static_cast<double>(count - 1)));
        };
        return index(point.y, rows_) * columns_ + index(point.x, columns_);
    }

    Point centre(std::size_t cell) const {
        return {(static_cast<double>(cell % columns_) + 0.5) * kCell,
                (static_cast<double>(cell / columns_) + 0.5) * kCell};
    }

    void reach(std::size_t cell, std::size_t from, double cost) {
        if (!isLand_[cell] && cost < cost_[cell]) {
            cost_[cell] = cost;
            cameFrom_[cell] = from;
            open_.push({cost + distance(centre(cell), centre(goal_)), cost, cell});
        }
    }

    void lookAround(std::size_t cell) {
        const std::size_t column = cell % columns_;
        const std::size_t row = cell / columns_;
        for (std::size_t y = row - (row > 0); y < std::min(row + 2, rows_); ++y) {
            for (std::size_t x = column - (column > 0); x < std::min(column + 2, columns_); ++x) {
                const std::size_t next = y * columns_ + x;
                reach(next, cell, cost_[cell] + distance(centre(cell), centre(next)));
            }
        }
    }

    std::vector<Point> courseTo(std::size_t cell) const {
        std::vector<Point> course;
        for (; cell != kNowhere; cell = cameFrom_[cell]) {
            course.push_back(centre(cell));
        }
        std::ranges::reverse(course);
        return course;
    }

    std::size_t columns_, rows_;
    std::vector<double> cost_;
    std::vector<std::size_t> cameFrom_;
    std::vector<bool> isLand_;
    std::size_t start_, goal_;
    std::priority_queue<Candidate> open_;
};

} // namespace

std::vector<Point> findCourse(const Sea& sea, Point from, Point to) {
    return Search(sea, from, to).run();
}

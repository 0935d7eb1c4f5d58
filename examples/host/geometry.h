/* Points and circles of the world. */
#ifndef QZ_HOST_GEOMETRY_H
#define QZ_HOST_GEOMETRY_H

#include <cmath>

struct Point {
    double x, y;

    template<class Serializer>
    void serialize(Serializer& serializer) {
        serializer.transfer("x", x);
        serializer.transfer("y", y);
    }
};

struct Motion {
    Point position;
    Point velocity; // a second
};

struct Circle {
    Point centre;
    double radius;
};

inline double distance(Point a, Point b) {
    return std::hypot(a.x - b.x, a.y - b.y);
}

/* The point at the distance `length` from a, in the direction of b. */
inline Point towards(Point a, Point b, double length) {
    const double whole = distance(a, b);
    const double share = whole > 0 ? length / whole : 0;
    return {a.x + (b.x - a.x) * share, a.y + (b.y - a.y) * share};
}

#endif

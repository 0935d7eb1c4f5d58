/* Finds a way for a ferry from one harbour to another around the islands. */
#ifndef QZ_HOST_COURSE_H
#define QZ_HOST_COURSE_H

#include "geometry.h"

#include <vector>

struct Sea {
    int width, height;
    std::vector<Circle> shores;
};

/* The shortest way over a grid, from point to point; empty if there is none. Takes long, so call it
 * on a worker thread. Any number of threads may use one sea. */
std::vector<Point> findCourse(const Sea& sea, Point from, Point to);

#endif

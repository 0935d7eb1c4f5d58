/* One thread for the whole process that runs queries, one at a time, in the order added. C++ only,
 * for programs built by the library's compiler.
 */
#ifndef QZCORE_TASKS_PATHFINDERTHREAD_H
#define QZCORE_TASKS_PATHFINDERTHREAD_H

#include "Common/Allocator.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <utility>

class PathfinderThread {
public:
    using Query = void (*)(void* argument);

    /* The one thread there is; made on first use, never destroyed. It keeps the library loaded, and
     * ends with the process, in the middle of a query if need be. Safe from any thread. Throws
     * std::bad_alloc if there is no memory for it; a later call tries again. */
    QZ_API static PathfinderThread* instance();

    /* Has the thread call query(argument), which must not throw; null is ignored. Safe from any
     * thread, from queries too. An idle thread sleeps and costs nothing; it wakes at once. Queries
     * stay until a later call if the system has no thread to give. Throws std::bad_alloc if there
     * is no memory for the query, which is not added then. */
    QZ_API void addQuery(Query query, void* argument);

    PathfinderThread(const PathfinderThread&) = delete;
    PathfinderThread& operator=(const PathfinderThread&) = delete;

private:
    struct Worker;

    PathfinderThread();
    ~PathfinderThread() = default;

    void work();
    void suspendIfFinished();
    std::pair<Query, void*> popQuery();

    qz::deque<std::pair<Query, void*>> queries_;
    Worker* worker_;
};

#endif

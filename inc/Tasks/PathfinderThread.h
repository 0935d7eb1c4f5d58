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

    /* Returns the only instance, which is made on first use and never destroyed. It keeps the
     * library loaded. Its thread ends with the process, even in the middle of a query. Any thread
     * may call this. Throws std::bad_alloc if there is no memory; a later call tries again. */
    QZ_API static PathfinderThread* instance();

    /* Makes the thread call query(argument), which must not throw; null is ignored. Any thread may
     * call this, queries too. An idle thread sleeps, takes no processor time, and wakes at once. If
     * the system cannot start the thread, queries wait, and a later call tries again. Throws
     * std::bad_alloc if there is no memory for the query, which then is not added. */
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

// A callback with its argument.
#pragma once

#include "Tasks/TaskManager.h"

namespace tasks {

struct Task {
    void* argument = nullptr;
    QZ_task_function function = nullptr;

    void run() const { function(argument); }
    bool operator==(const Task&) const = default;
};

} // namespace tasks

#include "platform/linux/dead_objects.h"

#include "platform/linux/shared_object.h"

#include <dirent.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <mutex>
#include <utility>

namespace platform {

namespace {

constexpr char kObjectFolder[] = "/dev/shm";

bool isObject(std::string_view name) {
    return name.starts_with(kMemoryPrefix) || name.starts_with(kMutexPrefix);
}

} // namespace

std::vector<std::string> listObjects() {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(kObjectFolder), closedir);
    while (const dirent* entry = folder != nullptr ? readdir(folder.get()) : nullptr) {
        if (isObject(entry->d_name)) {
            names.emplace_back(entry->d_name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string pathOf(std::string_view prefix, std::string_view name) {
    std::string path(1, '/');
    return path.append(prefix).append(name);
}

void removeDeadObjects() {
    for (const std::string& name : listObjects()) {
        removeIfDead(pathOf(name));
    }
}

// Goes on behind the last name, whether or not that object still exists. If another thread does it
// just now, that is enough; in a forked child that thread may have the lock for ever.
void removeSomeDeadObjects() {
    constexpr std::size_t kFew = 16;
    static std::mutex turn;
    static bool isFirst = true;
    static char last[NAME_MAX + 1] = "";
    const std::unique_lock lock(turn, std::try_to_lock);
    if (!lock) {
        return;
    }
    std::vector<std::string> names = listObjects();
    const auto next = std::upper_bound(names.begin(), names.end(), std::string_view(last));
    std::rotate(names.begin(), next, names.end());
    if (!std::exchange(isFirst, false)) {
        names.resize(std::min(names.size(), kFew));
    }
    for (const std::string& name : names) {
        removeIfDead(pathOf(name));
        last[name.copy(last, NAME_MAX)] = 0;
    }
}

} // namespace platform

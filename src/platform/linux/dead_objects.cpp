#include "platform/linux/dead_objects.h"

#include "platform/linux/shared_object.h"

#include <dirent.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <memory>
#include <utility>

namespace platform {

namespace {

constexpr char kObjectFolder[] = "/dev/shm";

bool isObject(std::string_view name) {
    return name.starts_with(kMemoryPrefix) || name.starts_with(kMutexPrefix);
}

// Calls back with the names of objects, from a place in their folder on, until the callback returns
// false. Returns the place to go on from, 0 at the end of the folder.
template<class Callback>
long visitObjects(long place, Callback callback) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(kObjectFolder), closedir);
    if (folder == nullptr) {
        return 0;
    }
    seekdir(folder.get(), place);
    while (const dirent* entry = readdir(folder.get())) {
        if (isObject(entry->d_name) && !callback(std::string(entry->d_name))) {
            return telldir(folder.get());
        }
    }
    return 0;
}

} // namespace

std::vector<std::string> listObjects() {
    std::vector<std::string> names;
    visitObjects(0, [&](std::string name) {
        names.push_back(std::move(name));
        return true;
    });
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

// The folder that a place came from is closed by the next call. In this file system a place is a
// number that goes on meaning about the same: if objects come and go, some may be looked at a round
// later. Listing all names each time would cost more than what it is for.
void removeSomeDeadObjects() {
    constexpr int kFew = 16;
    static std::atomic<bool> isFirst{true};
    static std::atomic<long> place{0};
    const long first = place.load();
    int left = isFirst.exchange(false) ? INT_MAX : kFew;
    const auto remove = [&](const std::string& name) {
        removeIfDead(pathOf(name));
        return --left > 0;
    };
    long next = visitObjects(first, remove);
    if (next == 0 && first != 0) {
        next = visitObjects(0, remove);
    }
    place = next;
}

} // namespace platform

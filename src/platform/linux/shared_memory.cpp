// A POSIX shared-memory object outlives its users. Two locks on its file tell whether somebody
// still has it open; the kernel releases the locks of processes that die:
//
//   gate   held by one process alone while it opens or closes the object
//   life   shared by all who have the object open; a process that gets it alone is the only one
//
// The locks belong to the open file, not to the process: a process may open an object twice, and a
// forked child keeps what its parent had open. The last to close an object removes its name. If
// that process was killed, the next to open the name starts afresh, and whoever opens or lists any
// memory removes dead objects.
#include "platform/shared_memory.h"

#include "platform/pause.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/write_signals.h"

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kObjectFolder[] = "/dev/shm";
constexpr std::string_view kMemoryPrefix = "qzCore.memory.";
constexpr std::string_view kMutexPrefix = "qzCore.mutex.";
constexpr mode_t kSameUser = 0600;
constexpr std::chrono::seconds kPatience(1);

constexpr off_t kGate = 0;
constexpr off_t kLife = 1;

struct flock lockOf(off_t which, int type) {
    struct flock lock {};
    lock.l_type = static_cast<short>(type);
    lock.l_whence = SEEK_SET;
    lock.l_start = which;
    lock.l_len = 1;
    return lock;
}

bool setLock(int file, off_t which, int type) {
    struct flock lock = lockOf(which, type);
    return fcntl(file, F_OFD_SETLK, &lock) == 0;
}

// The others at the gate need microseconds, unless they were stopped.
bool passGate(int file) {
    const Clock::time_point deadline = Clock::now() + kPatience;
    while (!setLock(file, kGate, F_WRLCK)) {
        if ((errno != EAGAIN && errno != EACCES) || Clock::now() > deadline) {
            return false;
        }
        const timespec pause{0, 200'000};
        nanosleep(&pause, nullptr);
    }
    return true;
}

bool isRemoved(int file) {
    struct stat status {};
    return fstat(file, &status) != 0 || status.st_nlink == 0;
}

std::uint64_t sizeOfFile(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

// False for another user's object: its owner could put bad pointers into a mutex that we lock.
bool isOurs(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && status.st_uid == geteuid();
}

// The limit of file names holds for the whole name, prefix included.
bool isObjectName(const std::string& name) {
    return name.size() <= NAME_MAX && name.find('/') == std::string::npos;
}

std::string pathOf(std::string_view prefix, std::string_view name) {
    std::string path(1, '/');
    return path.append(prefix).append(name);
}

Descriptor openObject(const std::string& path, int flags = 0) {
    return Descriptor(aboveStandardStreams(uninterrupted(
        [&] { return shm_open(path.c_str(), O_RDWR | O_CLOEXEC | flags, kSameUser); })));
}

// Removes the object if nobody else has it open. The caller holds the gate.
void removeIfAlone(int file, const char* path) {
    if (!isRemoved(file) && setLock(file, kLife, F_WRLCK)) {
        shm_unlink(path);
    }
}

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

void removeIfDead(const std::string& name) {
    const std::string path = pathOf({}, name);
    const Descriptor file = openObject(path);
    if (isOurs(file.number()) && setLock(file.number(), kGate, F_WRLCK)) {
        removeIfAlone(file.number(), path.c_str());
    }
}

// Looks at all objects when a process opens its first one, and then at the next few each time, so
// that many openings do not look at all objects again and again.
void removeSomeDead() {
    constexpr int kFew = 16;
    static std::atomic<bool> isFirst{true};
    static std::atomic<long> place{0};
    const long first = place.load();
    int left = isFirst.exchange(false) ? INT_MAX : kFew;
    const auto remove = [&](const std::string& name) {
        removeIfDead(name);
        return --left > 0;
    };
    long next = visitObjects(first, remove);
    if (next == 0 && first != 0) {
        next = visitObjects(0, remove);
    }
    place = next;
}

// Takes no lock, not even for a moment: an opener would believe that a dead object lives.
bool hasLife(const std::string& path) {
    const Descriptor file = openObject(path);
    struct flock lock = lockOf(kLife, F_WRLCK);
    return isOurs(file.number()) && fcntl(file.number(), F_OFD_GETLK, &lock) == 0 &&
           lock.l_type != F_UNLCK;
}

// A mapped object, with a share of its life lock.
class SharedObject {
public:
    SharedObject() = default;
    SharedObject(const SharedObject&) = delete;
    SharedObject& operator=(const SharedObject&) = delete;

    ~SharedObject() {
        if (bytes_ != nullptr) {
            munmap(bytes_, size_);
        }
        if (isFileOpen()) {
            if (opener_ == getpid() && passGate(file_)) {
                removeIfAlone(file_, path_.c_str());
            }
            close(file_);
        }
    }

    // `initialise` gets the zeros of a new object. If this process dies in it, the next one that
    // opens the object calls its own with new zeros.
    template<class Initialise>
    bool open(std::string path, std::uint64_t size, Initialise initialise, bool& isNew) {
        path_ = std::move(path);
        if (!openPassingGate()) {
            return false;
        }
        fstat(file_, &opened_);
        isNew = setLock(file_, kLife, F_WRLCK);
        const bool isOpen = (!isNew || makeZeros(size)) && map() &&
                            (!isNew || initialise(bytes_)) && setLock(file_, kLife, F_RDLCK);
        setLock(file_, kGate, F_UNLCK);
        return isOpen;
    }

    char* bytes() const { return bytes_; }
    std::uint64_t size() const { return size_; }

private:
    // False if the host has closed the descriptor, as a daemon closes all, even if it has opened
    // another file that got the same number.
    bool isFileOpen() const {
        struct stat status {};
        if (file_ < 0 || fstat(file_, &status) != 0) {
            return file_ >= 0 && errno != EBADF;
        }
        const bool isKnown = opened_.st_ino != 0;
        return !isKnown || (status.st_dev == opened_.st_dev && status.st_ino == opened_.st_ino);
    }

    // While a process waits at the gate, the object may be removed by the one before it.
    bool openPassingGate() {
        const Clock::time_point deadline = Clock::now() + kPatience;
        do {
            file_ = openObject(path_, O_CREAT).release();
            if (file_ < 0) {
                return false;
            }
            const bool isRefused = !isOurs(file_);
            if (!isRefused && passGate(file_) && !isRemoved(file_)) {
                return true;
            }
            close(file_);
            file_ = -1;
            if (isRefused) {
                return false;
            }
        } while (Clock::now() < deadline);
        return false;
    }

    // Reserves the pages now: if one were missing later, the process would die.
    bool makeZeros(std::uint64_t size) const {
        const NoWriteSignals guard; // the limit on the size of files holds for memory, too
        return uninterrupted([&] { return ftruncate(file_, 0); }) == 0 &&
               reserveRoom(file_, static_cast<off_t>(size)) == 0;
    }

    bool map() {
        size_ = sizeOfFile(file_);
        void* const mapped =
            size_ == 0 ? MAP_FAILED
                       : mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, file_, 0);
        bytes_ = mapped == MAP_FAILED ? nullptr : static_cast<char*>(mapped);
        return bytes_ != nullptr;
    }

    std::string path_;
    int file_ = -1;
    struct stat opened_ {}; // zeros if the system did not tell
    // A forked child shares the locks with its parent: they do not tell whether the parent lives.
    const pid_t opener_ = getpid();
    char* bytes_ = nullptr;
    std::uint64_t size_ = 0;
};

// Robust: if the owner dies, the next to lock the mutex is told so and goes on.
bool initialiseMutex(void* bytes) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    const int error = pthread_mutex_init(static_cast<pthread_mutex_t*>(bytes), &attributes);
    pthread_mutexattr_destroy(&attributes);
    return error == 0;
}

// Uses the clock that can be set, because the thread sanitizer does not know the call that takes
// the steady one.
timespec after(std::chrono::milliseconds limit) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::int64_t nanoseconds = now.tv_nsec + limit.count() % 1000 * 1'000'000;
    return {now.tv_sec + limit.count() / 1000 + nanoseconds / 1'000'000'000,
            nanoseconds % 1'000'000'000};
}

} // namespace

struct SharedMemory {
    SharedObject object;
};

struct SharedMutex {
    SharedObject object;

    pthread_mutex_t* native() const {
        return std::launder(reinterpret_cast<pthread_mutex_t*>(object.bytes()));
    }
};

void removeDeadSharedMemory() {
    visitObjects(0, [](const std::string& name) {
        removeIfDead(name);
        return true;
    });
}

SharedMemory* openSharedMemory(const char* name, std::uint32_t size, void*) {
    auto shared = std::make_unique<SharedMemory>();
    bool isNew = false;
    if (!isObjectName(std::string(kMemoryPrefix) + name) ||
        !shared->object.open(
            pathOf(kMemoryPrefix, name), size, [](void*) { return true; }, isNew)) {
        return nullptr;
    }
    removeSomeDead();
    return shared.release();
}

void closeSharedMemory(SharedMemory* shared) {
    delete shared;
}

char* bytesOf(const SharedMemory& shared) {
    return shared.object.bytes();
}

std::uint64_t sizeOf(const SharedMemory& shared) {
    return shared.object.size();
}

bool sharedMemoryExists(const char* name) {
    return hasLife(pathOf(kMemoryPrefix, name));
}

void listSharedMemory(void (*callback)(void* context, const char* name), void* context) {
    removeDeadSharedMemory();
    visitObjects(0, [&](const std::string& name) {
        if (name.starts_with(kMemoryPrefix) && hasLife(pathOf({}, name))) {
            callback(context, name.c_str() + kMemoryPrefix.size());
        }
        return true;
    });
}

SharedMutex* openSharedMutex(const char* name, void*) {
    auto mutex = std::make_unique<SharedMutex>();
    bool isNew = false;
    if (!isObjectName(std::string(kMutexPrefix) + name) ||
        !mutex->object.open(pathOf(kMutexPrefix, name), sizeof(pthread_mutex_t), initialiseMutex,
                            isNew) ||
        mutex->object.size() < sizeof(pthread_mutex_t)) {
        return nullptr;
    }
    return mutex.release();
}

void closeSharedMutex(SharedMutex* mutex) {
    delete mutex;
}

bool lockShared(SharedMutex& mutex, std::chrono::milliseconds limit) {
    int error = 0;
    const auto isDecided = [&] {
        error = pthread_mutex_trylock(mutex.native());
        return error != EBUSY;
    };
    if (!succeedsSoon(isDecided)) {
        const timespec deadline = after(limit);
        error = pthread_mutex_timedlock(mutex.native(), &deadline);
    }
    if (error == EOWNERDEAD) {
        error = pthread_mutex_consistent(mutex.native());
    }
    return error == 0;
}

void unlockShared(SharedMutex& mutex) {
    pthread_mutex_unlock(mutex.native());
}

} // namespace platform

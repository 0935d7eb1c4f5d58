// A POSIX shared-memory object outlives its users. Two locks on its file tell whether somebody
// still has it open; the kernel releases the locks of processes that die:
//
//   gate   held by one process alone while it opens or closes the object
//   life   shared by all who have the object open; a process that gets it alone is the only one
//
// The locks belong to the open file, not to the process: a process may open an object twice, and a
// forked child keeps what its parent had open. The last to close an object removes its name. If
// that process was killed, the next to open the name starts afresh, and dead_objects.h removes what
// is left.
#pragma once

#include "platform/file_id.h"

#include <unistd.h>

#include <cstdint>
#include <string>

namespace platform {

// A mapped object, with a share of its life lock. Paths are a slash and the name.
class SharedObject {
public:
    SharedObject() = default;
    SharedObject(const SharedObject&) = delete;
    SharedObject& operator=(const SharedObject&) = delete;
    ~SharedObject();

    // Initialises the zeros of a new object. If this process dies in it, the next one that opens
    // the object calls its own with new zeros.
    using Initialise = bool (*)(void* bytes);

    bool open(std::string path, std::uint64_t size, Initialise initialise);

    char* bytes() const { return bytes_; }
    std::uint64_t size() const { return size_; }

private:
    bool openPassingGate();
    bool makeZeros(std::uint64_t size) const;
    bool map();

    std::string path_;
    int file_ = -1;
    FileId id_;
    // A forked child shares the locks with its parent: they do not tell whether the parent lives.
    const pid_t opener_ = getpid();
    char* bytes_ = nullptr;
    std::uint64_t size_ = 0;
};

// Whether a process has the object open.
bool hasLife(const std::string& path);

// Removes the object if no process has it open or is opening it.
void removeIfDead(const std::string& path);

} // namespace platform

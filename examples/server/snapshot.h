/* Files with the state of the crowd at a moment. */
#ifndef QZ_SERVER_SNAPSHOT_H
#define QZ_SERVER_SNAPSHOT_H

#include "actor.h"

/* Writes snapshots on a worker and reads each one back. For the main thread. Shut down the tasks
 * before it is destroyed. */
class SnapshotWriter {
public:
    /* Writes files "snapshot-0.bin" to "snapshot-9.bin", always over the oldest. */
    explicit SnapshotWriter(std::string directory) : directory_(std::move(directory)) {}

    bool isBusy() const { return isBusy_; }
    void write(const Crowd& crowd); // not while it is busy

    /* Snapshots that were read back as written, and their bytes; failed ones. */
    unsigned long long written = 0, bytes = 0, failed = 0;

private:
    std::string directory_;
    bool isBusy_ = false;
    std::string path_; // this and the next two are the worker's while it is busy
    std::vector<ActorState> states_;
    std::uintmax_t size_ = 0; // of what was written; 0 if that failed
};

#endif

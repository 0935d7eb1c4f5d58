/* The log of this process for others to see while it runs: qz log follow NAME. */
#ifndef QZ_HOST_LOG_RING_H
#define QZ_HOST_LOG_RING_H

#include <string>

class CRingMessageBuffer;
struct qz_log_entry;

/* Reads the log's hook, of which there is one, and writes what it reads into shared memory. Nobody
 * need look, and whoever does cannot hold the program up, unless it is stopped (by a debugger, say)
 * just while it reads: then each pump takes a second, and its line is lost, until it goes on. */
class LogRing {
public:
    /* name: letters, digits, ".", "-" and "_", at most 57. After qz_log_start. If the memory or the
     * hook is not to be had, nothing is published. */
    explicit LogRing(const std::string& name);
    LogRing(const LogRing&) = delete;
    LogRing& operator=(const LogRing&) = delete;

    /* Publishes what is left, and ends the hook. */
    ~LogRing();

    /* Publishes what was logged since the last call. Once a frame is right: 512 messages wait. */
    void pump();

private:
    bool publish(const qz_log_entry& entry);

    CRingMessageBuffer* ring_;
};

#endif

/* A file that tells which ferry arrived where and when. */
#ifndef QZ_HOST_LOGBOOK_H
#define QZ_HOST_LOGBOOK_H

#include <cstddef>
#include <string>

/* A worker thread writes the lines in order, so that the main thread does not wait for the disk. */
class Logbook {
public:
    /* Begins the file anew. Throws UserError if it cannot be written. */
    explicit Logbook(const std::string& file);

    /* Waits until everything is written. */
    ~Logbook();

    Logbook(const Logbook&) = delete;
    Logbook& operator=(const Logbook&) = delete;

    void add(std::string line);

private:
    struct Entry;

    static void write(void* entry);

    std::string file_;
    std::size_t queue_;
};

#endif

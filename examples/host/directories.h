/* Where the host's files are. */
#ifndef QZ_HOST_DIRECTORIES_H
#define QZ_HOST_DIRECTORIES_H

#include <string>

/* The library's paths have "\" on every system; this is the same path as the system writes it. */
std::string systemPath(std::string path);

/* The directory that the path begins with, its separator included; empty if there is none. */
std::string directoryOf(const std::string& path);

/* The name without directory and extension; it may be empty. */
std::string stemOf(const std::string& path);

/* The examples' data: below the current directory or near the program. Empty if it is nowhere. */
std::string findData();

/* Mounts the data: the directory, the archive beside it (its name with ".zip" appended), and "data"
 * or "data.zip" beside the program; earlier ones win. Throws UserError if an archive is broken. */
void mountData(const std::string& data);

/* The library mounts "./Temp" for temporary files; as long as this lives there is one. */
class TempDirectory {
public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

private:
    bool made_;
};

/* Chooses the base, write and temporary directories and names the locations "data" and "results"
 * for scripts. */
void chooseDirectories(const std::string& application, const std::string& data);

#endif

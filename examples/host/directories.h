/* Where the host's files are. */
#ifndef QZ_HOST_DIRECTORIES_H
#define QZ_HOST_DIRECTORIES_H

#include <string>

/* Turns a path of the library, which has "\" on every system, into the system's form. */
std::string systemPath(std::string path);

/* The directory that the path begins with, its separator included; empty if there is none. */
std::string directoryOf(const std::string& path);

/* The name without directory and extension; it may be empty. */
std::string stemOf(const std::string& path);

/* The examples' data: below the current directory or near the program. Empty if not found. */
std::string findData();

/* Mounts the data: the directory, the archive beside it (its name with ".zip" appended), and "data"
 * or "data.zip" beside the program; earlier ones win. Throws UserError if an archive is broken. */
void mountData(const std::string& data);

/* Makes "./Temp", which the library mounts for temporary files, for as long as the object lives. */
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

/* Temporary files that are removed with their manager. C++ only, for programs built by the
 * library's compiler. */
#ifndef QZCORE_UTIL_TEMPFILESMANAGER_H
#define QZCORE_UTIL_TEMPFILESMANAGER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <string>
#include <vector>

namespace CoreUtils {

/* Holds the names of files, in the order added. Its destructor removes the files through the
 * virtual file system and ignores failures. A copy removes the same files as the original. An
 * assignment replaces the names; the files named before stay. In a forked child the names from
 * before the fork are the parent's, and are forgotten; a daemon whose parent has ended has to add
 * them again. An object is for one thread at a time. */
class QZ_API TempFilesManager {
public:
    TempFilesManager() = default;
    TempFilesManager(const TempFilesManager&) = default;
    TempFilesManager(TempFilesManager&&) = default;
    TempFilesManager& operator=(const TempFilesManager&) = default;
    TempFilesManager& operator=(TempFilesManager&&) = default;
    ~TempFilesManager();

    /* Returns the name of a file that does not exist: the temporary directory (VFS_get_tempdir),
     * "/", the prefix, and a number below 0x8000 in eight hexadecimal digits. This form is fixed;
     * it has two separators in a row, because the directory ends in one.
     *
     * The file is not created, so another process may take the name. All threads of the process
     * share one sequence: a number is not repeated before all others were used. A forked child has
     * a sequence of its own.
     *
     * Returns an empty name if all numbers are taken, or the name would have more than 255 bytes.
     * Any thread may call it. */
    static std::string getTempFileName(const std::string& prefix);

    /* Returns such a name, and adds it unless it is empty. */
    std::string newTempFile(const std::string& prefix);

    /* Adds a file, which need not exist. */
    void addTempFile(const std::string& name);

private:
    std::vector<std::string> names_;
    int process_ = 0; /* that added the names */
};

} // namespace CoreUtils

#endif

/* Temporary files that are gone when their manager is. C++ only, for programs built by the
 * library's compiler. */
#ifndef QZCORE_UTIL_TEMPFILESMANAGER_H
#define QZCORE_UTIL_TEMPFILESMANAGER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <string>
#include <vector>

namespace CoreUtils {

/* Holds the names of files, in the order added, and removes the files on its destruction, through
 * the virtual file system; what cannot be removed is passed over in silence. A copy removes the
 * same files as the original, whichever goes first. An object is for one thread at a time. */
class QZ_API TempFilesManager {
public:
    TempFilesManager() = default;
    TempFilesManager(const TempFilesManager&) = default;
    TempFilesManager(TempFilesManager&&) = default;
    TempFilesManager& operator=(const TempFilesManager&) = default;
    TempFilesManager& operator=(TempFilesManager&&) = default;
    ~TempFilesManager();

    /* The name of a file that does not exist: the temporary directory (VFS_get_tempdir), "/", the
     * prefix, and a number below 0x8000 in eight hexadecimal digits. The form is fixed, with the
     * two separators in a row.
     *
     * The file is not created, so another process may take the name. Within the process, for
     * whatever threads, a number comes again only when all others have had their turn.
     *
     * Empty if all numbers are taken, or the name would have more than 255 bytes. Any thread. */
    static std::string getTempFileName(const std::string& prefix);

    /* The same, and adds the name unless it is empty. */
    std::string newTempFile(const std::string& prefix);

    /* Adds a file, which need not exist. */
    void addTempFile(const std::string& name);

private:
    std::vector<std::string> names_;
};

} // namespace CoreUtils

#endif

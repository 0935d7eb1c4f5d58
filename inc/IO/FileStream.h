/* Streams over files: of the system (VFS/File.h), and of the mounted tree (VFS/Archive.h). C++
 * only, for programs built by the library's compiler. */
#ifndef QZCORE_IO_FILESTREAM_H
#define QZCORE_IO_FILESTREAM_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "IO/Stream.h"
#include "VFS/File.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vfs {
class MountedFile;
}

namespace io {

/* A file of the system. Paths, sharing with others and what is logged are those of VFS/File.h. */
class QZ_API FileStream final : public BufferedStream {
public:
    enum class Mode {
        kRead,
        kWrite,  /* as VFS_open_write: empties the file, or makes it */
        kAppend, /* as VFS_open_append: the position is the end */

        /* Gives a file new contents in one step, or makes it. They are written to a file beside it,
         * which takes its place when `close` is called and all went well: until then, and if
         * anything goes wrong, a crash or a full disk for instance, the old contents are there. The
         * file keeps its owner, permissions and access list; a symbolic link is followed, and other
         * names of the file (hard links) keep the old contents. One that is write-protected is
         * refused, and so is one beside which no file can be made. What a killed process leaves
         * behind, the next replacement of the same file removes.
         *
         * If two streams replace a file at once, the contents of the one that is closed last
         * stay. Do not replace a file that is open for writing: on Linux the writer goes on
         * without an error, and its bytes are lost with the old contents. */
        kReplace
    };

    /* No file. */
    FileStream() { path_[0] = 0; }

    /* As open: isOpen tells whether it could be opened. */
    FileStream(const char* path, Mode mode) : FileStream() { open(path, mode); }

    /* Takes over an open file, whichever kind of table it has; what it can do depends on how it was
     * opened. The stream begins at its position. */
    explicit FileStream(VFS_File* file);

    /* Hands on what was written and closes the file. With kReplace it drops what was written: the
     * file keeps its old contents, unless `close` or `open` was called before. */
    ~FileStream() override;

    /* Calls close, so a file that is open with kReplace gets its new contents. Then opens another
     * file; the errors of the one before are forgotten. */
    bool open(const char* path, Mode mode);

    bool isOpen() const { return file_ != nullptr; }

    /* Hands on what was written and closes the file. With kReplace, the new contents are on the
     * disk and in place then. False after any error since the file was opened, even if clearError
     * was called: with kReplace the old contents stay then. Without a file, isGood(). */
    bool close();

protected:
    std::size_t readAt(std::uint64_t position, void* data, std::size_t count) override;
    std::size_t writeAt(std::uint64_t position, const void* data, std::size_t count) override;
    std::uint64_t sizeNow() override;
    bool isWritable() const override;

private:
    QZ_LOCAL bool goTo(std::uint64_t position, bool isAllowed);
    QZ_LOCAL void rememberPath(const char* path);
    QZ_LOCAL void closeFile();

    VFS_File* file_ = nullptr;
    bool isReadable_ = false;
    bool isWritable_ = false;
    bool isReplacing_ = false;
    std::uint64_t filePosition_ = 0;
    char path_[256];
};

/* A file of the mounted tree, for reading. It is unpacked piece by piece: only as much is in memory
 * as the buffer takes, and one of 4 GiB and more can be read, too.
 *
 * In a compressed archive going back means unpacking from the start again, and going on unpacking
 * all that lies between.
 *
 * The check sum of a file in an archive is compared when its end is read. In a stored file this is
 * done only if the file was read from its beginning to its end without a seek between.
 *
 * As long as the stream exists, its archive or directory cannot be unmounted, and vfs_deinit does
 * nothing. */
class QZ_API MountedStream final : public BufferedStream {
public:
    /* isGood tells whether it could be opened; if not, an ERROR line is logged. */
    explicit MountedStream(const char* path);
    ~MountedStream() override;

protected:
    std::size_t readAt(std::uint64_t position, void* data, std::size_t count) override;
    std::uint64_t sizeNow() override;

private:
    std::unique_ptr<vfs::MountedFile> file_;
};

} // namespace io

#endif

/* Streams over files of the system (VFS/File.h) and of the mounted tree (VFS/Archive.h). C++ only,
 * for programs built by the library's compiler. */
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

/* A file of the system. Paths, sharing and log lines are as in VFS/File.h. */
class QZ_API FileStream final : public BufferedStream {
public:
    enum class Mode {
        kRead,
        kWrite,  /* as VFS_open_write: empties the file, or makes it */
        kAppend, /* as VFS_open_append: the position is the end */

        /* Gives a file new contents in one step, or makes it. They are written to a second file in
         * the same directory, which replaces the file when `close` is called and there was no
         * error. Until then, and after any failure such as a crash or a full disk, the file has its
         * old contents. Opening fails if the file is write-protected, or no file can be made in its
         * directory. The second file of a killed process is removed by the next replacement of the
         * same file.
         *
         * The file keeps its owner, permissions and access list: on Linux those that it has when
         * `close` is called, on Windows those at `open`. On Linux a symbolic link is followed, and
         * one that leads nowhere is an error; on Windows the file replaces the link. Other names of
         * the file (hard links) keep the old contents.
         *
         * If two streams replace a file at once, it gets the contents of the one that is closed
         * last. Do not replace a file that is open for writing: on Linux the writer continues
         * without an error, and its bytes are lost with the old contents. */
        kReplace
    };

    /* Makes a stream without a file. */
    FileStream() { path_[0] = 0; }

    /* Opens a file; isOpen tells whether that succeeded. */
    FileStream(const char* path, Mode mode) : FileStream() { open(path, mode); }

    /* Takes over an open file, with any table of functions. How it was opened decides whether it
     * can be read and written. The stream begins at the file's position. */
    explicit FileStream(VFS_File* file);

    /* Writes out the buffer and closes the file. With kReplace it drops what was written: the file
     * keeps its old contents, unless `close` or `open` was called before. */
    ~FileStream() override;

    /* Calls close, so that a file that is open with kReplace gets its new contents. Then opens
     * another file and forgets earlier errors. */
    bool open(const char* path, Mode mode);

    bool isOpen() const { return file_ != nullptr; }

    /* Writes out the buffer and closes the file. With kReplace, the new contents then are on the
     * disk and in place. Returns false after any error since the file was opened, even if
     * clearError was called; with kReplace the old contents then stay. In other modes an error that
     * the system finds only while it closes the file is logged, not returned. Without a file it
     * returns isGood(). */
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

/* A file of the mounted tree, for reading. It is unpacked piece by piece: only the buffer is in
 * memory, and files of 4 GiB and more can be read, too.
 *
 * Seeking in a compressed file is slow: forwards it unpacks all bytes between, backwards it unpacks
 * again from the start.
 *
 * The check sum of a file in an archive is compared when its end is read; that of a file stored
 * without compression only if the file was read from beginning to end without a seek.
 *
 * While the stream exists, its archive or directory cannot be unmounted, and vfs_deinit does
 * nothing. */
class QZ_API MountedStream final : public BufferedStream {
public:
    /* Opens the file; isGood tells whether that succeeded. If not, an ERROR line is logged. */
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

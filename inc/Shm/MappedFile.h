/* Files as memory: read where they lie, and made whole before they are written. C++ only, for
 * programs built by the library's compiler.
 *
 *     misc::mmf world("world.img", true);
 *     if (world.view == nullptr) {
 *         puts(world.error());
 *     }
 *
 *     unsigned int pos = 0;
 *     int length = 0;
 *     while (const char* line = world.getline(pos, length)) {
 *         printf("%.*s\n", length, line);
 *     }
 *
 * Names are UTF-8 and go to the system directly, not through the virtual file system.
 *
 * Threads: an object is for one thread at a time; any number may read the same mapped bytes.
 */
#ifndef QZCORE_SHM_MAPPEDFILE_H
#define QZCORE_SHM_MAPPEDFILE_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <stdint.h>

#include <stdexcept>
#include <string>

namespace misc {

/* The system's words for the calling thread's last error. */
QZ_API std::string getLastError();

/* what() is the message. */
class QZ_API error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/* An existing file in memory; one at a time. The fields are for reading.
 *
 * Files of 4 GiB or more are refused. An empty file opens, with no bytes and a null view.
 *
 * A file that gets shorter while it is mapped: Windows does not let that happen. On Linux another
 * program can do it, and reading a page that is gone then ends the process with SIGBUS, as with
 * every mapping of a file; programs that replace files, rather than rewrite them, do no harm. */
class mmf {
public:
    /* Opens at once; a null name leaves it closed. */
    QZ_API explicit mmf(const char* fileName = nullptr, bool readOnly = true);
    mmf(const mmf&) = delete;
    mmf& operator=(const mmf&) = delete;
    QZ_API ~mmf();

    /* Maps the file for reading, or for reading and writing: then what is written to the memory is
     * written to the file. Others may go on reading and writing it. What was open is closed first.
     *
     * On failure returns false, logs the message as an error of "QZCORE" and keeps it; it is "Out
     * of memory" if there is none for the message. A null name fails without a message. */
    QZ_API bool open(const char* fileName, bool readOnly);

    /* Maps the file for reading, and its first writableUnits times 64 KiB so that they may be
     * changed in memory; the file keeps what it has. Writing behind them is a fault of the memory.
     * A negative number is refused. Fails as open does, but logs nothing. */
    QZ_API bool open_copyaccess(const char* fileName, int writableUnits);

    /* The line that begins at `pos`; null at the end. `length` counts the bytes before its carriage
     * return, line feed or the end. `pos` moves past them and every CR and LF that follows, so
     * empty lines do not appear, except for one when the file begins with a line break.
     *
     * The text is not terminated, and stays until the file is closed. A line of 2 GiB or more comes
     * in pieces of 0x7FFFFFFF bytes. */
    QZ_API const char* getline(unsigned int& pos, int& length) const;

    /* The message of the last failure; empty if there was none. */
    const char* error() const { return errorText.c_str(); }

    QZ_API void close();

    /* Bytes of all files that open has mapped so far, in the whole process; never less than it was.
     * Changed atomically. */
    QZ_API static uint64_t reservedmemory;

    intptr_t file = -1;
    intptr_t mapping = 0;
    char* view = nullptr; /* the bytes */
    uint32_t size = 0;    /* how many */
    bool readOnly = true;
    std::string errorText;

private:
    void mapWhole(const char* fileName, bool isReadOnly);
    void mapCopy(const char* fileName, int writableUnits);
    void openFile(const char* fileName, bool isReadOnly);

    bool isCopy_ = false;
    uint32_t writableSize_ = 0; /* of a copy, which can be in two parts */
};

/* An image built in memory and written to a file in the end. It hands out offsets, not pointers,
 * so that the image is good at any address:
 *
 *     misc::mmf_write image(16);
 *     image.Create("world.img", 1 << 20);
 *     int offset;
 *     image.alloc(sizeof(Header), &offset);
 *     new (image.memory + offset) Header;
 *     image.Close();
 *
 * Failures of the system are misc::error exceptions, thrown after the object was reset, and
 * std::bad_alloc if there is no memory for their message. The fields
 * are for reading, but for `memory`, whose bytes are the image (zeros at first), and for the two of
 * the side region. */
class mmf_write {
public:
    /* Every size is rounded up to a multiple of the alignment, a power of two; with any other
     * number nothing can be allocated. */
    QZ_API explicit mmf_write(int alignment);
    mmf_write(const mmf_write&) = delete;
    mmf_write& operator=(const mmf_write&) = delete;

    /* Discards the image, as Reset does: only Close writes it. */
    QZ_API ~mmf_write();

    /* Begins an image of at most reserveBytes; 0: as much as reserveMax gets. Null or empty names:
     * no file will be written. An image that was begun before is discarded. Returns true.
     *
     * Throws "Reserve %d failed: insufficient address space", also for a negative number; what
     * reserveMax throws; "CreateFile(\"%s\", write) %s" if the name has 256 bytes or more. */
    QZ_API bool Create(const char* fileName, int reserveBytes);

    /* Takes the next `size` bytes, rounded up, and stores their offset, to which baseOffset was
     * added, in *offset. While the side region has room for them, they come from there.
     *
     * Returns false, with nothing taken, if size is negative, the alignment no power of two, or
     * offset null. Throws "Memory overflow %d", with the bytes reserved, if there is no room; the
     * image stays as it is. */
    QZ_API bool alloc(int size, int* offset);

    /* Gets one block of 1 GiB, or of half as much, and so on down to 32 MiB, all zeros; `size`
     * becomes the size. The caller owns it and gives it back with freeReserved. Throws
     * "ReserveMax failed: insufficient address space even for %d". */
    QZ_API static void* reserveMax(uint64_t& size);
    QZ_API static void freeReserved(void* block);

    /* Discards the image. */
    QZ_API void Reset();

    /* Writes the image to its file, which is made or replaced, and discards it. The file is
     * replaced in one step, as ConfigParser::save does it and with the same exceptions, so that
     * those who have mapped the old one keep it; on Windows it cannot be replaced as long as they
     * have. A file that is not writable is left alone. Throws "CreateFile(\"%s\", write) %s" or
     * "WriteFile(MEM_RESERVE, %d) %s", with the old contents in place. */
    QZ_API void Close();

    char fileName[256] = {};
    uint32_t reservedWord = 0;
    uint32_t baseOffset = 0;    /* added to every offset */
    uint32_t allocated[2] = {}; /* the first: all sizes, rounded up, since Create */
    intptr_t file = -1;         /* always -1 */
    char* memory = nullptr;     /* the image */
    uint64_t reserved = 0;      /* bytes that there are of it */
    uint32_t committed = 0;     /* the most that were used, in whole pages */
    uint32_t used = 0;          /* bytes handed out */
    uint32_t pageSize;          /* the system's */
    uint32_t sideCursor = 0;    /* a side region, which the caller has allocated before: the */
    uint32_t sideRemaining = 0; /* next offset, and how many bytes are left; 0: there is none */
    uint32_t alignment;

private:
    void write();
    bool takeAside(uint64_t size, int* offset);
};

} // namespace misc

#endif

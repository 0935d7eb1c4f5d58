/* Files in memory: existing files are mapped, and new ones are built in memory and then written.
 * C++ only, for programs built by the library's compiler.
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
 * Names are UTF-8 paths of the system, with either separator, not of the virtual file system.
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

/* Returns the system's text for the calling thread's last error. */
QZ_API std::string getLastError();

/* what() is the message. */
class QZ_API error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/* Maps an existing file, one at a time. Only read the fields.
 *
 * Files of 4 GiB or more are refused. An empty file can be opened, and has a null view.
 *
 * Windows does not let a mapped file be shortened. On Linux another program can shorten it, and
 * reading a page that is gone then ends the process with SIGBUS, as with every mapping of a file.
 * Programs that replace a file instead of rewriting it do no harm. */
class mmf {
public:
    /* Opens a file; does nothing if the name is null. */
    QZ_API explicit mmf(const char* fileName = nullptr, bool readOnly = true);
    mmf(const mmf&) = delete;
    mmf& operator=(const mmf&) = delete;
    QZ_API ~mmf();

    /* Maps the file for reading, or for reading and writing; writing to the memory then writes to
     * the file. Other programs may read and write the file meanwhile. A file that is open is closed
     * first.
     *
     * On failure returns false, logs a message as an ERROR (module "QZCORE") and stores it for
     * error(); it is "Out of memory" if there is no memory for the message. A null name fails
     * without a message. */
    QZ_API bool open(const char* fileName, bool readOnly);

    /* Maps the file for reading. Its first writableUnits times 64 KiB may be changed in memory,
     * which does not change the file; writing behind them is an access violation. A negative number
     * is refused. Fails as open does, but logs nothing. */
    QZ_API bool open_copyaccess(const char* fileName, int writableUnits);

    /* Returns the line that begins at `pos`; null at the end. `length` becomes the number of bytes
     * before its CR or LF, or before the end. `pos` moves behind them and all CR and LF that
     * follow, so empty lines are skipped, except for one if the file begins with a line break.
     *
     * The text is not terminated, and is valid until the file is closed. A line of 2 GiB or more is
     * returned in pieces of 0x7FFFFFFF bytes. */
    QZ_API const char* getline(unsigned int& pos, int& length) const;

    /* The message of the last failure; empty if there was none. */
    const char* error() const { return errorText.c_str(); }

    QZ_API void close();

    /* The number of bytes that `open` has mapped so far in the whole process. It never falls, and
     * changes atomically. */
    QZ_API static uint64_t reservedmemory;

    intptr_t file = -1;
    intptr_t mapping = 0;
    char* view = nullptr; /* the bytes */
    uint32_t size = 0;    /* the number of bytes */
    bool readOnly = true;
    std::string errorText;

private:
    void mapWhole(const char* fileName, bool isReadOnly);
    void mapCopy(const char* fileName, int writableUnits);
    void openFile(const char* fileName, bool isReadOnly);

    bool isCopy_ = false;
    uint32_t writableSize_ = 0; /* of open_copyaccess, whose memory can be in two parts */
};

/* An image that is built in memory and then written to a file. It consists of blocks that are known
 * by offsets, not pointers, so that the image is valid at any address:
 *
 *     misc::mmf_write image(16);
 *     image.Create("world.img", 1 << 20);
 *     int offset;
 *     image.alloc(sizeof(Header), &offset);
 *     new (image.memory + offset) Header;
 *     image.Close();
 *
 * If the system fails, a misc::error is thrown after the object was reset, or std::bad_alloc if
 * there is no memory for its message. Only read the fields, except for the bytes of `memory`, which
 * are the image and zero at first, and the two fields of the side region. */
class mmf_write {
public:
    /* alignment: a power of two, to a multiple of which every size is rounded up. With any other
     * number nothing can be allocated. */
    QZ_API explicit mmf_write(int alignment);
    mmf_write(const mmf_write&) = delete;
    mmf_write& operator=(const mmf_write&) = delete;

    /* Discards the image, as Reset does. Only Close writes it. */
    QZ_API ~mmf_write();

    /* Begins an image of at most reserveBytes; with 0, of as much as reserveMax gets. With a null
     * or empty name no file will be written. An earlier image is discarded. Returns true.
     *
     * Throws "Reserve %d failed: insufficient address space", also for a negative number; what
     * reserveMax throws; "CreateFile(\"%s\", write) %s" if the name has 256 bytes or more. */
    QZ_API bool Create(const char* fileName, int reserveBytes);

    /* Takes the next `size` bytes, rounded up, and stores their offset plus baseOffset in *offset.
     * If the side region has room for them, they are taken from there, and their offset is stored
     * as it is.
     *
     * Returns false, with nothing taken, if size is negative, the alignment is not a power of two,
     * or offset is null. Throws "Memory overflow %d", with the bytes reserved, if there is no room
     * or the offset does not fit an int; the image then does not change. */
    QZ_API bool alloc(int size, int* offset);

    /* Allocates a block of zeros of 1 GiB, or of half as much, and so on down to 32 MiB; `size`
     * becomes its size. The caller owns it and frees it with freeReserved. Throws
     * "ReserveMax failed: insufficient address space even for %d". */
    QZ_API static void* reserveMax(uint64_t& size);
    QZ_API static void freeReserved(void* block);

    /* Discards the image. */
    QZ_API void Reset();

    /* Writes the image to its file, which is made or replaced, and discards the image. The file is
     * replaced in one step, as by ConfigParser::save and with the same exceptions. On Linux
     * programs that have mapped the old file keep its contents; on Windows it cannot be replaced
     * while it is mapped. A file that is not writable is not replaced. Throws
     * "CreateFile(\"%s\", write) %s" or "WriteFile(MEM_RESERVE, %d) %s"; the file then has its old
     * contents. */
    QZ_API void Close();

    char fileName[256] = {};
    uint32_t reservedWord = 0;
    uint32_t baseOffset = 0;    /* added to every offset in the image */
    uint32_t allocated[2] = {}; /* the first: the sum of the sizes, rounded up, in the image */
    intptr_t file = -1;         /* always -1 */
    char* memory = nullptr;     /* the image */
    uint64_t reserved = 0;      /* the bytes of the image */
    uint32_t committed = 0;     /* the most bytes in use so far, in whole pages */
    uint32_t used = 0;          /* the bytes in use */
    uint32_t pageSize;          /* the system's */
    uint32_t sideCursor = 0;    /* the next offset in a side region, allocated by the caller */
    uint32_t sideRemaining = 0; /* the bytes left in the side region; 0: there is none */
    uint32_t alignment;

private:
    void write();
    bool takeAside(uint64_t size, int* offset);
};

} // namespace misc

#endif

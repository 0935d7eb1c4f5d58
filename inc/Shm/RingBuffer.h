/* Ring buffers in one flat block of memory, mostly one that processes share by name. C++ only, for
 * programs built by the library's compiler.
 *
 * One party writes records, any number of others read them. The writer never waits for readers:
 * when room runs out it discards the oldest records. Reading takes nothing out; each reader keeps
 * its position in its own object, begins with the oldest record that is there, and is moved on to
 * the then oldest one when the writer has lapped it.
 *
 *     CRingMessageBuffer* ring = CRingMessageBuffer::OpenNew("telemetry", 65536, nullptr);
 *     ring->AddFormatMessage("speed %d", speed);
 *     ring->Close(1);
 *
 * CBaseRingBuffer moves bytes; three framings make records of them: CRingBuffer (any length,
 * written and read piece by piece), CUNIRingBuffer (a small header and data, at most 65539 bytes),
 * CRingMessageBuffer (texts with a time, in named shared memory). The bytes of a block are
 * written down in docs/formats/shared-memory.md; docs/guides/shared-memory.md says how to choose.
 *
 * Results: 0 for failure, 1 for success unless said otherwise; nothing is logged or thrown. Every
 * call on an object that has no memory yet fails.
 *
 * A record is seen by readers only when it is whole: a writer that dies in the middle of one leaves
 * nothing torn behind. Whatever other parties write into a block, nobody here reads or writes
 * outside of it, and every call ends: positions outside of the data count as its start, and lengths
 * that lead past the newest record are not followed.
 *
 * Memory given by the caller is aligned to 8 bytes, else it is refused.
 *
 * Threads: an object is for one thread at a time. Several objects, in threads or processes, may use
 * one block at once: CRingMessageBuffers in any number, they lock it; of the others one that
 * writes, beside any number that read. Two that write need a lock of the callers' own.
 */
#ifndef QZCORE_SHM_RINGBUFFER_H
#define QZCORE_SHM_RINGBUFFER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <stdint.h>

struct _SECURITY_ATTRIBUTES;
typedef struct _SECURITY_ATTRIBUTES SECURITY_ATTRIBUTES; /* windows.h declares the same */

/* The block and the transport of bytes. A framing of one's own derives from it. */
class QZ_API CBaseRingBuffer {
public:
    CBaseRingBuffer() = default;
    CBaseRingBuffer(const CBaseRingBuffer&) = delete;
    CBaseRingBuffer& operator=(const CBaseRingBuffer&) = delete;

    /* Frees the block if InitNew made it. */
    virtual ~CBaseRingBuffer();

    /* Bytes at the start of the block that are not data: 32, for CRingBuffer 44. */
    virtual unsigned long GetHeaderSize();

    /* Makes an empty block of `size` bytes on the heap, header included. Fails if the header does
     * not leave a byte, if the size does not fit 32 bits, or for want of memory. */
    virtual int InitNew(unsigned long size);

    /* The same in memory of the caller's, which outlives the object. */
    virtual int Init(char* block, unsigned long size);

    /* Attaches to a block that another party has initialised and changes nothing in it. What its
     * header says of the size is believed this once: memory must reach as far. Fails if the header
     * is none, or a smaller one than this class's own. */
    virtual int Open(char* block);

    /* Writes a block of blockLen bytes at the write position: at most srcLen from src, the rest
     * keeps the bytes that were there. Makes no room: what it runs over is lost without notice.
     * Fails if blockLen is more than the block has data. */
    int PutBlock(const char* src, unsigned long srcLen, unsigned long blockLen);

    /* Reads blockLen bytes from (*pos, *lap), which move behind them, copying at most dstLen. Fails
     * if blockLen is more than the block has data; *pos outside of the data counts as its start. */
    int GetBlock(char* dst, unsigned long dstLen, unsigned long blockLen, unsigned long* pos,
                 unsigned long* lap);

protected:
    /* Writes the header of an empty block. `memory` is set. */
    virtual void InitHeader(unsigned long size);

    /* Discards the oldest records until more than `needed` bytes are free; fails when nothing more
     * can be discarded. One byte always stays free, so that a full block does not look empty. */
    virtual int TrySearchMemory(unsigned long needed);

    /* Discards the oldest record; 0 if there is none. A plain block knows no records. */
    virtual int DiscardNextRecord();

    /* 1 if there is no record. */
    int IsFree();

    unsigned long GetFreeSize();

    /* Bytes that this reader has not read. */
    unsigned long GetBusySize();

    /* 1 if what this reader would read next has been overwritten, or the reader is ahead of a
     * writer that began anew. */
    int IsReadOverwritten();

    /* Moves such a reader to the oldest record. *corrected, which may be null, becomes 1 if it was
     * moved, else 0. */
    void CorrectReadPosition(int* corrected);

    char* memory = nullptr; /* the start of the block, and so its header */
    bool ownsMemory = false;
    unsigned long readPos = 0xFFFFFFFF;
    unsigned long readLap = 0;

private:
    friend class CRingBuffer;
    friend class CUNIRingBuffer;
    friend class CRingMessageBuffer;

    class View;

    QZ_LOCAL int Attach(char* block, unsigned long limit);
    QZ_LOCAL void Detach();
    QZ_LOCAL void ReadFromOldest();

    /* What the header said when it was believed. */
    uint32_t dataStart_ = 0;
    uint32_t dataEnd_ = 0;
};

/* Records of any length, and counts of them. */
class QZ_API CRingBuffer : public CBaseRingBuffer {
public:
    ~CRingBuffer() override;
    unsigned long GetHeaderSize() override;
    int Open(char* block) override;

    /* The same for a block of strangers: memory reaches no further than `size` bytes, and a header
     * that says otherwise is none. */
    int Open(char* block, unsigned long size);

    /* Writing: PushStart announces the length of a record and makes room, discarding the oldest
     * ones; PushData, any number of times, brings its bytes; PushStop makes it visible.
     *
     * PushStart(0) writes nothing and returns 0: there are no empty records. A length for which the
     * block is too small fails as well, but only after every record has been discarded to make
     * room. */
    int PushStart(unsigned long length);

    /* 1 if all n bytes fitted in the announced length, 0 if they were cut, or n is 0. */
    int PushData(const char* data, unsigned long n);

    /* 1 if all announced bytes came. If not the record has its length all the same, filled with
     * whatever was there. Without a started record nothing happens and the result is 0. */
    int PushStop();

    /* Reading: PopStart goes to the next record and returns its length, 0 if there is none;
     * PopData, any number of times, reads its bytes; PopStop skips what is left of it.
     *
     * *overwritten, which may be null, becomes 1 if the writer had lapped this reader and records
     * were missed, else 0. */
    unsigned long PopStart(int* overwritten);

    /* Takes the next n bytes of the record and copies at most dstLen of them to dst, which is
     * written to although it is declared const. Returns 1 if the record had n bytes left; 0 if it
     * had fewer, which were taken, or if the writer has lapped this reader in the meantime: the
     * record is then lost, and what was copied is not to be used. */
    int PopData(const char* dst, unsigned long dstLen, unsigned long n);

    void PopStop();

    /* Records in the block, ever completed, and discarded to make room. A writer that died in the
     * middle of a call can have left one of them off by one. */
    unsigned long GetTotalCount();
    unsigned long GetAddCount();
    unsigned long GetDelCount();

protected:
    void InitHeader(unsigned long size) override;
    int DiscardNextRecord() override;

private:
    bool pushing_ = false;
    uint32_t toPush_ = 0; /* bytes of the record that are still to come */
    uint32_t toPop_ = 0;  /* bytes of the record that are still to be read */
    uint32_t pushPos_ = 0;
    uint32_t pushLap_ = 0;
    uint32_t recordPos_ = 0; /* where the record that is being read begins */
    uint32_t recordLap_ = 0;
};

/* The first four bytes of a CUNIRingBuffer's record. Headers of the caller's own begin with it. */
struct tag_TUNIHeader {
    uint16_t kind;   /* the caller's; the library only carries it */
    uint16_t length; /* bytes of the record after these four: rest of the header, and data */
};

/* Records with a header of the caller's, written and read in one call. */
class QZ_API CUNIRingBuffer : public CBaseRingBuffer {
public:
    ~CUNIRingBuffer() override;

    /* Writes a record: header->length - dataLen + 4 bytes of the header, which goes on behind the
     * first four, and dataLen bytes of data. Fails if the header's length is less than dataLen. */
    int Put(const tag_TUNIHeader* header, const char* data, unsigned short dataLen);

    /* Copies the next record, header first, to dst, which is written to although it is declared
     * const, and goes past it. 0 if there is none, or if it has more than `cap` bytes: then the
     * first `cap` are copied, and it is gone past all the same. *overwritten as above. */
    int Get(const char* dst, unsigned long cap, int* overwritten);

    /* Copies the first four bytes of the next record and leaves the reader where it was, so that
     * the next call says once more that it was lapped. */
    int ReadHeader(tag_TUNIHeader* header, int* overwritten);

protected:
    int DiscardNextRecord() override;
};

/* Texts, each with the time, in shared memory of a name. The first party to open a name makes the
 * memory, others attach; it is freed when the last one has let go, however that one ended.
 *
 * Memory that InitNew, Init or CBaseRingBuffer::Open gave works as well; then nothing is locked. */
class QZ_API CRingMessageBuffer : public CBaseRingBuffer {
public:
    /* A new object that has been opened; null if that fails. To be given back with Close(1). */
    static CRingMessageBuffer* OpenNew(const char* name, unsigned long size,
                                       SECURITY_ATTRIBUTES* security);

    CRingMessageBuffer() = default;

    /* Closes. */
    ~CRingMessageBuffer() override;

    /* Opens the memory of that name, or makes it with `size` bytes (0: 20000), and the mutex
     * "<name>_mutex".
     *
     * name: UTF-8, 1 to 64 bytes, no slash; on Windows it may begin with "Global\". size: more than
     *   32; of no interest if the memory is there already. security: for a new object on Windows;
     *   not used on Linux, where the memory is for the same user only, and what another user has
     *   made is refused.
     *
     * Fails, leaving the object closed and alive, if it is open already, the memory is there but no
     * ring, the system refuses, or another party holds the mutex for longer than a second.
     *
     * A forked child may close what its parent has opened, which goes on as it was; to use it both
     * need objects of their own. */
    int Open(const char* name, unsigned long size, SECURITY_ATTRIBUTES* security);

    /* Lets go of both, and deletes the object, which OpenNew or new has made, if deleteSelf is not
     * 0. Returns 1. */
    int Close(int deleteSelf);

    /* Adds a text with the present time, discarding the oldest ones if need be. length in bytes;
     * 0xFFFFFFFF (or the largest of the type): up to the terminating zero. Fails if the block is
     * too small, after every text has been discarded, or if other parties hold the mutex for longer
     * than a second. */
    int AddMessage(const char* text, unsigned long length);

    /* The same for what printf makes of the format, in the process's locale, cut at 1023 bytes. */
    int AddFormatMessage(const char* format, ...) QZ_PRINTF_LIKE(2, 3);

    /* Reads the next text: at most `capacity` bytes of it to `text`, which is written to although
     * it is declared const; with a terminating zero if there is room for it. Returns 1, or 2 if the
     * text was cut; 0, with nothing changed, if there is none or the mutex is held for longer than
     * a second.
     *
     * time: when it was added, in seconds since 1970, UTC. The words are 0 if AddMessage added it.
     */
    int GetMessageA(unsigned long& word1, unsigned long& word2, unsigned long& word3, int64_t& time,
                    const char* text, unsigned long capacity);

protected:
    int DiscardNextRecord() override;

private:
    using CBaseRingBuffer::Open;

    QZ_LOCAL int OpenBlock(unsigned long size);

    /* The system's. */
    void* mapping = nullptr;
    void* mutex = nullptr;
};

#endif

/* Ring buffers in one block of memory, which processes may share by name. C++ only, for programs
 * built by the library's compiler.
 *
 * One party writes records, any number of others read them. The writer never waits for readers:
 * when room runs out it discards the oldest records. Reading does not remove records. Each reader
 * has its position in its own object, and begins with the oldest record. When the writer has
 * overwritten the next record of a reader, the reader goes on with the oldest record.
 *
 *     CRingMessageBuffer* ring = CRingMessageBuffer::OpenNew("telemetry", 65536, nullptr);
 *     ring->AddFormatMessage("speed %d", speed);
 *     ring->Close(1);
 *
 * CBaseRingBuffer moves bytes. Three classes derived from it make records of them: CRingBuffer (any
 * length, written and read piece by piece), CUNIRingBuffer (a small header and data, at most 65539
 * bytes), CRingMessageBuffer (texts with a time, in named shared memory).
 * docs/formats/shared-memory.md describes the bytes of a block; docs/guides/shared-memory.md helps
 * to choose.
 *
 * Results: 0 for failure, 1 for success unless said otherwise; nothing is logged or thrown. Every
 * call on an object without memory fails.
 *
 * Readers see a record only when it is complete, even if a writer dies in the middle of one.
 * Whatever other parties write into a block, these classes never read or write outside of it, and
 * every call returns: a position outside of the data counts as its start, and a length that leads
 * past the newest record is not followed.
 *
 * Memory of the caller must be aligned to 8 bytes, or it is refused.
 *
 * Threads: an object is for one thread at a time. Several objects, in threads or processes, may use
 * one block at once: any number of CRingMessageBuffers, which lock the block; of the other classes
 * one writer and any number of readers. Several writers need a lock of the callers' own.
 */
#ifndef QZCORE_SHM_RINGBUFFER_H
#define QZCORE_SHM_RINGBUFFER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <stdint.h>

struct _SECURITY_ATTRIBUTES;
typedef struct _SECURITY_ATTRIBUTES SECURITY_ATTRIBUTES; /* windows.h declares the same */

/* The block and the transport of bytes. Derive from it to make other kinds of records. */
class QZ_API CBaseRingBuffer {
public:
    CBaseRingBuffer() = default;
    CBaseRingBuffer(const CBaseRingBuffer&) = delete;
    CBaseRingBuffer& operator=(const CBaseRingBuffer&) = delete;

    /* Frees the block if InitNew made it. */
    virtual ~CBaseRingBuffer();

    /* The number of bytes at the start of the block that are not data: 32, for CRingBuffer 44. */
    virtual unsigned long GetHeaderSize();

    /* Makes an empty block of `size` bytes on the heap, header included. Fails if the size leaves
     * no byte for data, if it does not fit 32 bits, or if there is no memory. */
    virtual int InitNew(unsigned long size);

    /* The same in memory that the caller owns, and that outlives the object. Readers that have the
     * block open may lose their place. So a writer that comes back calls Open, and Init only if
     * that fails. */
    virtual int Init(char* block, unsigned long size);

    /* Attaches to a block that another party has initialised, without changing it. That party may
     * go on writing. This call trusts the size in the header: the memory must be that large. Fails
     * if the header is not valid, or is smaller than that of this class. */
    virtual int Open(char* block);

    /* Writes blockLen bytes at the write position: up to srcLen of them are copied from src, the
     * rest keep their old values. It overwrites without discarding the oldest records. Fails if
     * blockLen is more than the data of the block. */
    int PutBlock(const char* src, unsigned long srcLen, unsigned long blockLen);

    /* Reads blockLen bytes from (*pos, *lap), copies at most dstLen of them, and moves *pos and
     * *lap behind them. Fails if blockLen is more than the data of the block. *pos outside of the
     * data counts as its start. */
    int GetBlock(char* dst, unsigned long dstLen, unsigned long blockLen, unsigned long* pos,
                 unsigned long* lap);

protected:
    /* Writes the header of an empty block. `memory` is set before. */
    virtual void InitHeader(unsigned long size);

    /* Discards the oldest records until more than `needed` bytes are free. Fails when there is
     * nothing left to discard. One byte always stays free, so that a full block differs from an
     * empty one. */
    virtual int TrySearchMemory(unsigned long needed);

    /* Discards the oldest record; 0 if there is none. The base has no records and returns 0. */
    virtual int DiscardNextRecord();

    /* 1 if there is no record. */
    int IsFree();

    unsigned long GetFreeSize();

    /* The number of bytes that this reader has not read. */
    unsigned long GetBusySize();

    /* 1 if the next record of this reader has been overwritten, or if the reader is ahead of the
     * writer, because the block was initialised again. */
    int IsReadOverwritten();

    /* If IsReadOverwritten, moves the reader to the oldest record. *corrected becomes 1 if it was
     * moved, else 0; corrected may be null. */
    void CorrectReadPosition(int* corrected);

    char* memory = nullptr; /* the start of the block, which is its header */
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

    /* Copied from the header when the block was opened. */
    uint32_t dataStart_ = 0;
    uint32_t dataEnd_ = 0;
};

/* Records of any length, which are counted. */
class QZ_API CRingBuffer : public CBaseRingBuffer {
public:
    ~CRingBuffer() override;
    unsigned long GetHeaderSize() override;
    int Open(char* block) override;

    /* The same for a block from untrusted parties: the memory has `size` bytes, and a header that
     * says more is not valid. */
    int Open(char* block, unsigned long size);

    /* Writing: PushStart announces the length of a record and discards the oldest records to make
     * room; PushData, called any number of times, adds bytes; PushStop makes the record visible.
     *
     * PushStart(0) does nothing and returns 0: there are no empty records. If the block is too
     * small for the length, PushStart fails after it has discarded all records. */
    int PushStart(unsigned long length);

    /* Returns 1 if all n bytes fitted in the announced length, 0 if they were cut, or n is 0. */
    int PushData(const char* data, unsigned long n);

    /* Returns 1 if all announced bytes were added. If not, the record still has its announced
     * length, and its last bytes are undefined. If no record was started, does nothing and returns
     * 0. */
    int PushStop();

    /* Reading: PopStart goes to the next record and returns its length, 0 if there is none;
     * PopData, called any number of times, reads bytes; PopStop skips the rest of the record.
     *
     * *overwritten becomes 1 if the reader missed records because the writer has overwritten them
     * or has initialised the block again, else 0, also if PopStart returns 0; overwritten may be
     * null. */
    unsigned long PopStart(int* overwritten);

    /* Reads the next n bytes of the record and copies at most dstLen of them to dst, which is
     * written to although it is declared const. Returns 1 if the record had n bytes left. Returns 0
     * if it had fewer, which were read, or if the writer has overwritten the record or initialised
     * the block again meanwhile: then the record is lost, and the copied bytes are not valid. */
    int PopData(const char* dst, unsigned long dstLen, unsigned long n);

    void PopStop();

    /* The number of records that are in the block, that were ever completed, and that were
     * discarded to make room. If a writer died in the middle of a call, one of the numbers may be
     * wrong by one. */
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

/* The first four bytes of a record of CUNIRingBuffer. Headers of the caller begin with it. */
struct tag_TUNIHeader {
    uint16_t kind;   /* for the caller; the library does not use it */
    uint16_t length; /* bytes after these four: rest of the header, and data */
};

/* Records with a header of the caller, written and read in one call. */
class QZ_API CUNIRingBuffer : public CBaseRingBuffer {
public:
    ~CUNIRingBuffer() override;

    /* Writes a record: header->length - dataLen + 4 bytes of the header, tag_TUNIHeader included,
     * and dataLen bytes of data. Fails if header->length is less than dataLen. */
    int Put(const tag_TUNIHeader* header, const char* data, unsigned short dataLen);

    /* Copies the next record, header first, to dst, which is written to although it is declared
     * const, and moves behind the record. Returns 0 if there is none, or if the record has more
     * than `cap` bytes: then the first `cap` bytes are copied, and the reader moves behind it as
     * well. *overwritten is set as by CRingBuffer::PopStart. */
    int Get(const char* dst, unsigned long cap, int* overwritten);

    /* Copies the first four bytes of the next record without moving the reader. If *overwritten
     * becomes 1, the next call sets it again. */
    int ReadHeader(tag_TUNIHeader* header, int* overwritten);

protected:
    int DiscardNextRecord() override;
};

/* Texts, each with a time, in named shared memory. The first party that opens a name makes the
 * memory, others attach to it. The memory is freed when the last party has closed it or ended.
 *
 * InitNew, Init and CBaseRingBuffer::Open may be used instead; then nothing is locked. */
class QZ_API CRingMessageBuffer : public CBaseRingBuffer {
public:
    /* Makes an object and opens it; null if that fails. Free it with Close(1). */
    static CRingMessageBuffer* OpenNew(const char* name, unsigned long size,
                                       SECURITY_ATTRIBUTES* security);

    CRingMessageBuffer() = default;

    /* Calls Close(0). */
    ~CRingMessageBuffer() override;

    /* Opens the memory of that name, or makes it with `size` bytes (0 means 20000). Also opens or
     * makes the mutex "<name>_mutex".
     *
     * name: UTF-8, 1 to 64 bytes, no slash; on Windows it may begin with "Global\". size: more than
     *   32; ignored if the memory exists. security: for a new object on Windows; ignored on Linux,
     *   where only programs of the same user can open the memory, and what another user has made is
     *   refused.
     *
     * Fails if the object is open already, if the memory exists but has no ring buffer, if the
     * system refuses, or if another party holds the mutex for longer than a second. After a failure
     * an object that was closed is still closed.
     *
     * A forked child may close an object of its parent; the parent can still use its own. To use
     * the memory, the child needs an object of its own. */
    int Open(const char* name, unsigned long size, SECURITY_ATTRIBUTES* security);

    /* Closes the memory and the mutex. If deleteSelf is not 0, deletes the object, which OpenNew or
     * new must have made. Returns 1. */
    int Close(int deleteSelf);

    /* Adds a text with the current time, and discards the oldest texts to make room. length: in
     * bytes; 0xFFFFFFFF (or the largest of the type) means up to the terminating zero. Fails if the
     * block is too small, after it has discarded all texts, or if other parties hold the mutex for
     * longer than a second. */
    int AddMessage(const char* text, unsigned long length);

    /* The same for a text that is formatted as by printf, in the process's locale, and cut at 1023
     * bytes. */
    int AddFormatMessage(const char* format, ...) QZ_PRINTF_LIKE(2, 3);

    /* Reads the next text and copies at most `capacity` bytes to `text`, which is written to
     * although it is declared const, with a terminating zero if there is room for it. Returns 1, or
     * 2 if the text was cut; 0, with nothing changed, if there is no text or the mutex is held for
     * longer than a second.
     *
     * time: when the text was added, in seconds since 1970, UTC. The words are 0 for texts of
     * AddMessage. */
    int GetMessageA(unsigned long& word1, unsigned long& word2, unsigned long& word3, int64_t& time,
                    const char* text, unsigned long capacity);

protected:
    int DiscardNextRecord() override;

private:
    using CBaseRingBuffer::Open;

    QZ_LOCAL int OpenBlock(unsigned long size);

    /* Handles of the system. */
    void* mapping = nullptr;
    void* mutex = nullptr;
};

#endif

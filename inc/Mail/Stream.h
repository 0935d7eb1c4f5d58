/* Writes and reads messages, as bytes and as fields of bits. C++ only, for programs built by the
 * library's compiler.
 *
 *     Mail::Message message(kAddress);
 *     {
 *         Mail::Writer writer(message);
 *         writer.put(kind, 3);
 *         writer.writeHalf(speed);
 *     } // here the bytes go into the message
 *     globalMail->send(message);
 *
 *     Mail::Reader reader(message);
 *     const unsigned int kind = reader.get(3);
 *     const float speed = reader.readHalf();
 *
 * A message has no description of its contents: read the fields in the order in which they were
 * written, with the same widths. Fields follow each other without gaps, the most significant bit
 * first; docs/formats/message.md describes the format.
 *
 * Single reads and writes report no errors. Bits read past the end are zero. If a message would
 * become too long, or memory runs out, everything that the writer wrote is dropped. A width outside
 * its range gives undefined bits, but as many in the writer as in the reader. It is safe to read
 * any bytes in any way.
 *
 * Threads: a reader or writer is for one thread at a time. Several threads may read one message at
 * once, but nobody may write to a message that is being read.
 */
#ifndef QZCORE_MAIL_STREAM_H
#define QZCORE_MAIL_STREAM_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "Mail/Chunk.h"
#include "Mail/Message.h"
#include "Mail/Shared.h"

#include <new>
#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <type_traits>

/* Selects the constructor of an empty reader. */
namespace Var {
struct Nil {};
} // namespace Var

namespace Mail {

namespace detail {

/* Reverses the bytes, in a form that compilers turn into one instruction. */
constexpr uint32_t swapBytes(uint32_t word) {
    return word << 24 | (word & 0xFF00) << 8 | (word >> 8 & 0xFF00) | word >> 24;
}

} // namespace detail

/* Writes bytes into buffers and returns them as a chain. */
class ByteWriter {
public:
    QZ_API ByteWriter();

    /* Drops the written bytes if end() has not been called. */
    QZ_API ~ByteWriter();

    ByteWriter(const ByteWriter&) = delete;
    ByteWriter& operator=(const ByteWriter&) = delete;

    QZ_API ByteWriter& putData(const void* data, uint64_t n);

    /* Writes the `nbytes` low bytes of a number, 1 to 4, the most significant first. More count as
     * 4. */
    QZ_API ByteWriter& putInt(int value, uint64_t nbytes);

    /* Returns the chain of everything written and ends the writer: later bytes are dropped. Null if
     * nothing was written, or there was not enough memory for all of it. */
    QZ_API Mem::Ptr<Chunk> end();

private:
    friend class Writer;

    /* Makes room for a byte. False if there is no memory. */
    bool prepare() { return cursor_ != end_ || nextRegion(); }

    bool nextRegion();
    void takeRegion();
    void keepWritten();
    void giveBackRest();
    void close();

    Chain chain_;
    Mem::Ptr<Buffer> buffer_; // null when nothing can be written any more
    unsigned char* start_ = nullptr;
    unsigned char* cursor_ = nullptr;
    unsigned char* end_ = nullptr;
    uint64_t kept_ = 0; // bytes in chain_
};

/* Reads the bytes of chains, without changing the chains. */
class ByteReader {
public:
    ByteReader() = default;

    /* Calls add(chain); if there is no memory for that, there is nothing to read. */
    QZ_API explicit ByteReader(const Mem::Ptr<Chunk>& chain);

    ByteReader(const ByteReader&) = delete;
    ByteReader& operator=(const ByteReader&) = delete;

    /* Drops everything left to read, and reads this chunk and those that follow it. Returns false
     * if the chunk is null; then there is nothing to read. */
    QZ_API bool init(const Mem::Ptr<Chunk>& chunk);

    /* Adds a chain behind everything left to read. Chunks that are appended to the chain later are
     * not read. Null is ignored. Returns false, with nothing added, if there is no memory. */
    QZ_API bool add(const Mem::Ptr<Chunk>& chain);

    /* Copies up to n bytes and returns their number. */
    QZ_API uint64_t getData(void* out, uint64_t n);

    /* Returns the next n bytes, or fewer at the end, as a new chain over the same memory. Null if
     * there are none, or there is no memory; then nothing has been read. */
    QZ_API Mem::Ptr<Chunk> getData(uint64_t n);

    /* Reads a number of `nbytes` bytes, the most significant first; 0 if nbytes is 0. If there are
     * more than four, only the last four count. */
    QZ_API int getInt(uint64_t nbytes);

    /* Reads everything that is left, as getData does. Null if nothing is left, or there is no
     * memory; then nothing has been read. */
    QZ_API Mem::Ptr<Chunk> getRemainingData();

private:
    friend class Reader;

    /* Makes a byte ready at the cursor. False if there is none left. */
    bool prepare() { return cursor_ != end_ || nextChunk(); }

    bool nextChunk();
    Mem::Ptr<Chunk> peek(uint64_t n) const;
    static Mem::Ptr<Chunk> copyOf(const Mem::Ptr<Chunk>& chain);
    void enqueue(Mem::Ptr<Chunk> chain);
    void clear();

    Mem::Ptr<Chunk> next_;
    Mem::Ptr<Chunk> tailOfQueue_; // null unless all chunks that follow are the reader's own
    Mem::Ptr<Buffer> buffer_;
    unsigned char* cursor_ = nullptr;
    unsigned char* end_ = nullptr;
    uint64_t queued_ = 0;
};

/* The base of writers and readers. A function that takes a Stream can both write a structure and
 * read it.
 *
 *     void exchange(Mail::Stream& stream, Unit& unit) {
 *         stream.transfer(unit.type, 12);
 *         stream.transfer(unit.position);
 *     } */
class QZ_API Stream {
public:
    virtual ~Stream();

    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    bool isWriter() const { return direction_ != 0; }

    /* Writes or reads the low `bits` bits of a number or another trivially copyable object, at most
     * its size. Reading does not change the other bytes of the object; the other bits of a byte
     * that is read in part become 0. A bool that is read is false for 0 and else true. */
    template<class T>
    void transfer(T& value, int bits = static_cast<int>(sizeof(T) * 8)) {
        static_assert(std::is_trivially_copyable_v<T>);
        constexpr int kAll = static_cast<int>(sizeof(T) * 8);
        if constexpr (std::is_same_v<T, bool>) {
            unsigned char byte = value ? 1 : 0;
            stream(&byte, bits < kAll ? bits : kAll);
            value = byte != 0;
        } else {
            stream(&value, bits < kAll ? bits : kAll);
        }
    }

protected:
    enum class Direction : uint32_t { read = 0, write = 1 };

    Stream(Direction direction, const Message& message);

    /* Writes or reads the low `bits` bits of an object in little-endian memory: first the bits of
     * its highest byte, if that is not whole, then whole bytes downwards. Does nothing if `bits` is
     * below 1. */
    virtual void stream(void* data, int bits) = 0;

    uint32_t direction_;
    Mem::Ptr<MsgImpl> body_;
};

/* Writes fields of bits behind the bytes that a message has, beginning with a new byte.
 *
 * The bytes are added to the message when the writer is finished or destroyed; until then the
 * message does not change. If it would have more than 65535 bytes, or memory has run out,
 * everything that this writer wrote is dropped. overflowed() and finish() tell. */
class QZ_API Writer : public Stream, private ByteWriter {
public:
    explicit Writer(const Message& message);

    /* Calls finish(), if that has not been done. */
    ~Writer() override;

    /* Adds the bytes to the message, which may then be sent or read. What is written later is
     * dropped. Returns whether the message has everything that was written. Further calls return
     * the same. */
    bool finish();

    /* Returns the number of bytes that the message would have if the writer finished now, or has if
     * it did; if it is too long, some number above the limit. Senders use it to know when to begin
     * another message. */
    uint64_t getSize() const;

    /* Returns whether more was written than the message can take, or memory has run out; then
     * nothing of it is added to the message. An empty handle can take nothing. */
    bool overflowed() const;

    /* Writes the low `bits` bits of a number, 1 to 25. */
    void put(unsigned int value, unsigned char bits) {
        const unsigned width = bits < kMaxWidth ? bits : kMaxWidth;
        write(static_cast<uint32_t>(value & ((uint64_t{1} << width) - 1)), width);
    }

    /* Writes a number from 0 to 1, rounded to the nearest multiple of 1 / (2^bits - 1); numbers
     * outside are written as 0 or 1, not-a-number as 0. Up to 25 bits. */
    void writeFixed(double value, int bits);

    /* Writes a number from -2^(intBits - 1) up to 2^(intBits - 1), rounded down to a multiple of
     * 2^-fracBits. Each width is up to 25. A number below the range, and not-a-number, is written
     * as the lowest number of the range.
     *
     * Values from 2^(intBits - 1) up to one more wrap around to the bottom of the range: with 8 and
     * 4 bits, 128.5 is read as -127.5. From 2^(intBits - 1) + 1 on, the highest number is written.
     * A number so little below a whole one that a double does not hold its distance from the next
     * lower one, such as -1e-17, is read as that lower one, -1: round numbers that may be noise.
     * All three are part of the format. */
    void writeFixed(double value, int intBits, int fracBits);

    /* Writes 16 bits, rounded as by Math::float2half. */
    void writeHalf(float value);

    void stream(void* data, int bits) final {
        if (bits == 32) {
            uint32_t value = 0;
            memcpy(&value, data, sizeof value);
            writeWord(value);
        } else {
            writeObject(static_cast<const unsigned char*>(data), bits);
        }
    }

private:
    static constexpr unsigned kMaxWidth = 32;

    /* A field of up to 32 bits; its other bits are 0. */
    void write(uint32_t field, unsigned width) {
        bits_ = bits_ << width | field;
        bitCount_ += width;
        if (bitCount_ >= 32) {
            bitCount_ -= 32;
            store(static_cast<uint32_t>(bits_ >> bitCount_));
        }
    }

    /* A field of 32 bits: the number of pending bits does not change. */
    void writeWord(uint32_t field) {
        bits_ = bits_ << 32 | field;
        store(static_cast<uint32_t>(bits_ >> bitCount_));
    }

    /* Four bytes, unaligned. With this type the compiler knows that storing them does not change
     * the writer, and keeps the writer's state in registers. */
#pragma pack(push, 1)
    struct Word {
        uint32_t bytes;
    };
#pragma pack(pop)

    void store(uint32_t word) {
        if (end_ - cursor_ < 4) {
            storeAcross(word);
            return;
        }
        new (cursor_) Word{detail::swapBytes(word)};
        cursor_ += 4;
    }

    void storeAcross(uint32_t word);
    QZ_LOCAL void storeByte(uint64_t byte);
    QZ_LOCAL bool makeRoom();
    void writeObject(const unsigned char* data, int bits);
    QZ_LOCAL size_t writeRun(const unsigned char* data, size_t count);
    QZ_LOCAL void flush();
    QZ_LOCAL bool commit();
    QZ_LOCAL uint64_t sizeBefore() const;

    enum class State : unsigned char { open, kept, dropped };

    uint64_t bits_ = 0;     /* the low bitCount_ of them are still to be written */
    uint64_t bitCount_ = 0; /* 0 to 31 */
    State state_ = State::open;
};

/* Reads a message from its start. Reads past its end give zeros: when everything is read, call
 * overran() before you trust the values. */
class QZ_API Reader : public Stream, private ByteReader {
public:
    /* Make a reader of a new message without bytes. */
    Reader();
    explicit Reader(const Var::Nil& nil);

    explicit Reader(const Message& message);
    ~Reader() override;

    /* Reads a number of 1 to 25 bits. */
    unsigned int get(unsigned char bits) {
        const unsigned width = bits < kMaxWidth ? bits : kMaxWidth;
        return read(width);
    }

    /* Read what writeFixed and writeHalf of Writer wrote. */
    double readFixed(int bits);
    double readFixed(int intBits, int fracBits);
    float readHalf();

    /* Returns whether all bytes have been read. Bits of the last byte may be left, which the writer
     * has filled with zeros. */
    bool isAtEnd();

    /* Returns whether more was read than the message holds. */
    bool overran() const { return missing_ > bitCount_; }

    void stream(void* data, int bits) final {
        if (bits == 32) {
            const uint32_t value = readWord();
            memcpy(data, &value, sizeof value);
        } else {
            readObject(static_cast<unsigned char*>(data), bits);
        }
    }

private:
    static constexpr unsigned kMaxWidth = 32;

    /* A field of up to 32 bits. */
    uint32_t read(unsigned width) {
        if (bitCount_ < width) {
            bits_ = bits_ << 32 | fetch();
            bitCount_ += 32;
        }
        bitCount_ -= width;
        return static_cast<uint32_t>(bits_ >> bitCount_ & ((uint64_t{1} << width) - 1));
    }

    /* A field of 32 bits. */
    uint32_t readWord() {
        bits_ = bits_ << 32 | fetch();
        return static_cast<uint32_t>(bits_ >> bitCount_);
    }

    uint32_t fetch() {
        if (end_ - cursor_ < 4) {
            return fetchAcross();
        }
        uint32_t bytes = 0;
        memcpy(&bytes, cursor_, sizeof bytes);
        cursor_ += sizeof bytes;
        return detail::swapBytes(bytes);
    }

    uint32_t fetchAcross();
    void readObject(unsigned char* data, int bits);
    QZ_LOCAL void init();

    uint64_t bits_ = 0;     /* the low bitCount_ of them were fetched but not read */
    uint64_t bitCount_ = 0; /* 0 to 31 */
    uint64_t missing_ = 0;  /* the number of fetched bits that were past the end */
};

} // namespace Mail

#endif

/* Writing messages and reading them, as bytes and as fields of bits. C++ only, for programs built
 * by the library's compiler.
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
 * A message says nothing about what it holds: its meaning is the order of the reads, which mirrors
 * that of the writes. Fields follow each other bit by bit, the most significant bit first;
 * docs/formats/message.md has the format in full.
 *
 * Bits are written and read without a word about errors. What is read past the end is zero; what
 * would make a message too long, or finds no memory, is dropped as a whole; a width outside its
 * range gives any bits, but as many on both sides. Any bytes may be read in any way.
 *
 * A reader or writer belongs to one thread at a time. Several threads may read one message at once,
 * but nobody may write to a message that is being read.
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

/* The bytes in the other order, in a form that compilers know for their one instruction. */
constexpr uint32_t swapBytes(uint32_t word) {
    return word << 24 | (word & 0xFF00) << 8 | (word >> 8 & 0xFF00) | word >> 24;
}

} // namespace detail

/* Writes bytes into buffers as they come, and hands them out as a chain. */
class ByteWriter {
public:
    QZ_API ByteWriter();

    /* Drops what was written if end() has not been called. */
    QZ_API ~ByteWriter();

    ByteWriter(const ByteWriter&) = delete;
    ByteWriter& operator=(const ByteWriter&) = delete;

    QZ_API ByteWriter& putData(const void* data, uint64_t n);

    /* The `nbytes` low bytes of a number, the most significant first. 1 to 4; more count as 4. */
    QZ_API ByteWriter& putInt(int value, uint64_t nbytes);

    /* The chain of everything written, and the end of the writer: what is written afterwards is
     * dropped. Null if nothing was written, or there was not enough memory for all of it. */
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
};

/* Reads the bytes of chains, which stay as they are. */
class ByteReader {
public:
    ByteReader() = default;

    /* add(chain): nothing to read if there is no memory for it. */
    QZ_API explicit ByteReader(const Mem::Ptr<Chunk>& chain);

    ByteReader(const ByteReader&) = delete;
    ByteReader& operator=(const ByteReader&) = delete;

    /* Goes on with this chunk and those that follow it, and forgets what else there was to read.
     * Returns false if the chunk is null: then there is nothing to read. */
    QZ_API bool init(const Mem::Ptr<Chunk>& chunk);

    /* What to read after everything that there is to read. The chain is looked at now: chunks that
     * are linked behind it later are not read. Null is ignored. False, with nothing added, if there
     * is no memory. */
    QZ_API bool add(const Mem::Ptr<Chunk>& chain);

    /* Copies up to n bytes and returns how many there were. */
    QZ_API uint64_t getData(void* out, uint64_t n);

    /* The next n bytes, or as many as there are, as a chain of their own over the same memory. Null
     * if that is none, or there is no memory: then nothing has been read. */
    QZ_API Mem::Ptr<Chunk> getData(uint64_t n);

    /* A number of `nbytes` bytes, the most significant first; 0 if that is none. Only the last four
     * count. */
    QZ_API int getInt(uint64_t nbytes);

    /* Everything that has not been read, over the same memory; it then has been. Null if that is
     * nothing, or there is no memory: then nothing has been read. */
    QZ_API Mem::Ptr<Chunk> getRemainingData();

private:
    friend class Reader;

    /* Makes a byte ready at the cursor. False if there are no more. */
    bool prepare() { return cursor_ != end_ || nextChunk(); }

    bool nextChunk();
    Mem::Ptr<Chunk> peek(uint64_t n) const;
    static Mem::Ptr<Chunk> copyOf(const Mem::Ptr<Chunk>& chain);
    void enqueue(Mem::Ptr<Chunk> chain);
    void clear();

    Mem::Ptr<Chunk> next_;
    Mem::Ptr<Chunk> tailOfQueue_; // null unless all that follows are the reader's own chunks
    Mem::Ptr<Buffer> buffer_;
    unsigned char* cursor_ = nullptr;
    unsigned char* end_ = nullptr;
    uint64_t queued_ = 0;
};

/* What writers and readers have in common: one function that is written for a Stream both writes a
 * structure and reads it.
 *
 *     void exchange(Mail::Stream& stream, Unit& unit) {
 *         stream.transfer(unit.type, 12);
 *         stream.transfer(unit.position);
 *     }
 */
class QZ_API Stream {
public:
    virtual ~Stream();

    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    bool isWriter() const { return direction_ != 0; }

    /* Writes the low `bits` bits of a number, or of another object that is nothing but its bytes,
     * or reads them into it; at most its size. Reading leaves its other bits alone, those within
     * the byte that is read in part excepted: they become 0. */
    template<class T>
    void transfer(T& value, int bits = static_cast<int>(sizeof(T) * 8)) {
        static_assert(std::is_trivially_copyable_v<T>);
        constexpr int kAll = static_cast<int>(sizeof(T) * 8);
        stream(&value, bits < kAll ? bits : kAll);
    }

protected:
    enum class Direction : uint32_t { read = 0, write = 1 };

    Stream(Direction direction, const Message& message);

    /* Moves the low `bits` bits of an object in little-endian memory in the stream's direction:
     * first those of its highest byte, if that is not whole, then whole bytes downwards. Does
     * nothing if there are no bits. */
    virtual void stream(void* data, int bits) = 0;

    uint32_t direction_;
    Mem::Ptr<MsgImpl> body_;
};

/* Writes fields of bits behind what a message holds already, from a new byte on.
 *
 * The bytes go into the message when the writer is finished or destroyed; until then the message is
 * as it was. If it would have more than 65535 of them, or memory has run out, all that this writer
 * wrote is dropped: a message has all of it or nothing. overflowed() and finish() tell.
 */
class QZ_API Writer : public Stream, private ByteWriter {
public:
    explicit Writer(const Message& message);

    /* Finishes, if finish() has not been called. */
    ~Writer() override;

    /* Puts the bytes into the message, which may then be sent or read; what is written afterwards
     * is dropped. Returns whether the message has all that was written. Further calls return the
     * same.
     */
    bool finish();

    /* How many bytes the message would have if the writer finished now, or has if it did; with it,
     * a sender knows when to go on in another message. */
    uint64_t getSize() const;

    /* Whether more was written than the message can take, which is nothing for a handle to nothing,
     * or memory has run out: then the message gets, or got, nothing of it. */
    bool overflowed() const;

    /* The low `bits` bits of a number, 1 to 25. */
    void put(unsigned int value, unsigned char bits) {
        const unsigned width = bits < kMaxWidth ? bits : kMaxWidth;
        write(static_cast<uint32_t>(value & ((uint64_t{1} << width) - 1)), width);
    }

    /* A number from 0 to 1 in steps of 1 / (2^bits - 1), the nearest; others become 0 or 1. Up to
     * 25 bits. */
    void writeFixed(double value, int bits);

    /* A number from -2^(intBits - 1) up to 2^(intBits - 1), in steps of 2^-fracBits, the next one
     * towards minus infinity; each width up to 25. Below that range is written its lowest number.
     *
     * At its top, values of 2^(intBits - 1) up to one more come out at its bottom: with 8 and 4
     * bits, 128.5 is read as -127.5. From 2^(intBits - 1) + 1 on, the highest number is written.
     * That is part of the format. */
    void writeFixed(double value, int intBits, int fracBits);

    /* As Math::float2half rounds it. 16 bits. */
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

    /* A field of up to 32 bits, which has no others set. */
    void write(uint32_t field, unsigned width) {
        bits_ = bits_ << width | field;
        bitCount_ += width;
        if (bitCount_ >= 32) {
            bitCount_ -= 32;
            store(static_cast<uint32_t>(bits_ >> bitCount_));
        }
    }

    /* A field of 32 bits: as many are pending afterwards as were before. */
    void writeWord(uint32_t field) {
        bits_ = bits_ << 32 | field;
        store(static_cast<uint32_t>(bits_ >> bitCount_));
    }

    /* Four bytes anywhere. A type of its own, so that storing them is known not to change the
     * writer, whose state can then stay in registers from field to field. */
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

/* Reads a message from its start. Behind its end there are zeros, as many as are asked for: ask
 * overran() once everything is read, before what was read is believed. */
class QZ_API Reader : public Stream, private ByteReader {
public:
    /* Of a new message without bytes. */
    Reader();
    explicit Reader(const Var::Nil& nil);

    explicit Reader(const Message& message);
    ~Reader() override;

    /* A number of 1 to 25 bits. */
    unsigned int get(unsigned char bits) {
        const unsigned width = bits < kMaxWidth ? bits : kMaxWidth;
        return read(width);
    }

    /* What Writer's functions of such names wrote. */
    double readFixed(int bits);
    double readFixed(int intBits, int fracBits);
    float readHalf();

    /* Whether all bytes have been read. Of the last one, bits may be left: a writer fills it up
     * with zeros. */
    bool isAtEnd();

    /* Whether more was read than the message holds. */
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

    uint64_t bits_ = 0;     /* the low bitCount_ of them were fetched and not yet read */
    uint64_t bitCount_ = 0; /* 0 to 31 */
    uint64_t missing_ = 0;  /* of those fetched, as many at the end were not in the message */
};

} // namespace Mail

#endif

/* Messages: an address and a string of bytes. C++ only, for programs built by the library's
 * compiler. */
#ifndef QZCORE_MAIL_MESSAGE_H
#define QZCORE_MAIL_MESSAGE_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "Mail/Chunk.h"
#include "Mail/Pool.h"
#include "Mail/Shared.h"

#include <stddef.h>
#include <stdint.h>

namespace Mail {

/* The body of a message, which its handles share. */
class QZ_API MsgImpl : private Mem::Shared {
public:
    static void* operator new(size_t) = delete; /* only the pool makes them */
    static void operator delete(void* item);    // NOLINT(*-new-delete-overloads,cert-dcl54-cpp)

    /* Lives as long as the library. */
    static Mem::PoolOf<MsgImpl>& m_pool;

private:
    template<class>
    friend class Mem::Ptr;
    friend class Mem::PoolOf<MsgImpl>;
    friend class Message;
    friend class Reader;
    friend class Writer;

    MsgImpl() = default;
    ~MsgImpl() override;

    /* Returns false if there would be too many bytes. */
    QZ_LOCAL bool append(Mem::Ptr<Chunk> chain);

    uint32_t address_ = 0;
    uint32_t tag_ = 0;
    uint64_t size_ = 0;
    uint64_t userData_ = 0;
    Chain data_;
};

/* A handle to a message; copies of the handle share the message. Bytes are written with a
 * Mail::Writer and read with a Mail::Reader, both of which keep the message alive.
 *
 * An empty handle may be used like any other: it has no bytes, stores nothing, and is not
 * delivered. Several threads may read one message at once while nobody changes it. */
class QZ_API Message {
public:
    /* The most bytes a message can have. */
    static constexpr uint64_t kMaxSize = 65535;

    /* Makes an empty handle. */
    Message() = default;

    /* Makes a message without bytes, or an empty handle if there is no memory. */
    explicit Message(uint32_t address);

    explicit operator bool() const { return static_cast<bool>(body_); }

    /* The address of the mailbox that the message is for. */
    uint32_t getAddress() const { return body_ ? body_->address_ : 0; }
    void setAddress(uint32_t address);

    /* Two numbers for the application's own use, 0 at first. The library does not use them, and
     * they are not part of the bytes. */
    uint32_t getTag() const { return body_ ? body_->tag_ : 0; }
    void setTag(uint32_t tag);
    uint64_t getUserData() const { return body_ ? body_->userData_ : 0; }
    void setUserData(uint64_t data);

    /* The number of bytes. */
    uint64_t getSize() const { return body_ ? body_->size_ : 0; }

    /* Copies the first bytes, up to n, to `out`, and returns their number. */
    uint64_t getBytes(void* out, uint64_t n) const;

    /* Appends n bytes, as a Mail::Writer would. Returns false, with nothing appended, if the
     * message would have more than kMaxSize bytes, there is no memory, or the handle is empty. */
    bool addBytes(const void* data, uint64_t n);

    friend bool operator==(const Message& a, const Message& b) { return a.body_ == b.body_; }

private:
    friend class Stream;

    Mem::Ptr<MsgImpl> body_;
};

} // namespace Mail

#endif

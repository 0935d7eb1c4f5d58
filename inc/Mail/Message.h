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

/* What the handles to a message share. */
class QZ_API MsgImpl : private Mem::Shared {
public:
    static void* operator new(size_t) = delete; /* they come from the pool alone */
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

    /* False if the bytes would be too many. */
    QZ_LOCAL bool append(Mem::Ptr<Chunk> chain);

    uint32_t address_ = 0;
    uint32_t tag_ = 0;
    uint64_t size_ = 0;
    uint64_t userData_ = 0;
    Chain data_;
};

/* A handle to a message; copies share it. Its bytes are written with a Mail::Writer and read with a
 * Mail::Reader, both of which keep it alive.
 *
 * A handle to nothing may be used like any other: it has no bytes, keeps nothing, and is delivered
 * to nobody. Several threads may read one message at once while nobody changes it. */
class QZ_API Message {
public:
    /* The most bytes a message can have. */
    static constexpr uint64_t kMaxSize = 65535;

    /* A handle to nothing. */
    Message() = default;

    /* A new message without bytes. A handle to nothing if there is no memory. */
    explicit Message(uint32_t address);

    explicit operator bool() const { return static_cast<bool>(body_); }

    /* The mailbox that it is for. */
    uint32_t getAddress() const { return body_ ? body_->address_ : 0; }
    void setAddress(uint32_t address);

    /* Two words for the application to use as it likes, 0 at first. The library does not look at
     * them, and they are not part of the bytes. */
    uint32_t getTag() const { return body_ ? body_->tag_ : 0; }
    void setTag(uint32_t tag);
    uint64_t getUserData() const { return body_ ? body_->userData_ : 0; }
    void setUserData(uint64_t data);

    /* How many bytes it has. */
    uint64_t getSize() const { return body_ ? body_->size_ : 0; }

    /* Copies its first bytes, up to n, to `out`, and returns how many: for files, sockets, hashes.
     */
    uint64_t getBytes(void* out, uint64_t n) const;

    /* Puts n bytes behind those that it has, as a Mail::Writer would. False, with nothing added, if
     * they would be more than kMaxSize, there is no memory, or this is a handle to nothing. */
    bool addBytes(const void* data, uint64_t n);

    friend bool operator==(const Message& a, const Message& b) { return a.body_ == b.body_; }

private:
    friend class Stream;

    Mem::Ptr<MsgImpl> body_;
};

} // namespace Mail

#endif

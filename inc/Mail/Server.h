/* Delivers messages to the mailboxes that are registered under their addresses. C++ only, for
 * programs built by the library's compiler.
 *
 * There is no queue and no thread: a message is handled within send(), on the sender's thread.
 * `globalMail` is the server of the process.
 */
#ifndef QZCORE_MAIL_SERVER_H
#define QZCORE_MAIL_SERVER_H

#include "Common/Allocator.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "Mail/Message.h"
#include "Mail/Shared.h"
#include "Tasks/Sync.h"

#include <map>
#include <stdint.h>
#include <utility>

namespace Mail {

/* The base class of receivers. The server keeps a mailbox alive, and so do threads that are sending
 * to it. Make it with new, and hold it by a Mem::Ptr: Mem::Ptr<Mail::Mailbox>(new Tower). */
class QZ_API Mailbox : public Mem::Shared {
public:
    explicit Mailbox(uint32_t ownAddress = 0) : address(ownAddress) {}
    ~Mailbox() override;

    /* The address under which it is registered. Do not change it while the mailbox is registered:
     * the server uses the address that the mailbox had when it was added. */
    uint32_t address;

    /* Handles a message and returns whether it was accepted. It runs on the sender's thread, and on
     * several threads at once if they send at once. It may call any function, even send, or
     * removeMailbox for its own mailbox. Messages are shared: copy a message before you change it.
     */
    virtual bool receive(const Message& message) = 0;
};

/* Any thread may call any function at any time; a child of fork() must not call any. Only
 * exceptions of a mailbox are thrown. */
class QZ_API Server {
public:
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    virtual ~Server();

    /* Registers a mailbox under its own address. Null is ignored, and so is a mailbox whose address
     * is taken, or for which there is no memory; getMailbox tells whether it is registered. */
    virtual void addMailbox(const Mem::Ptr<Mailbox>& mailbox) = 0;

    /* Removes the mailbox at an address. Does nothing if there is none. A thread that began to send
     * to the mailbox before may still call its receive() after this. */
    virtual void removeMailbox(uint32_t address) = 0;

    /* Calls receive() of the mailbox at the message's address and returns its result; false if
     * there is no mailbox, or the handle is empty. Bytes of a writer that has not finished are not
     * in the message. */
    virtual bool send(const Message& message) = 0;

    /* Returns the mailbox at an address, or null. */
    virtual Mem::Ptr<Mailbox> getMailbox(uint32_t address) = 0;

protected:
    Server() = default;
};

/* The implementation. Addresses below `directSize` are found by an index, all others by a hash
 * table. Senders do not wait for each other; they wait only for threads that add and remove
 * mailboxes. */
class QZ_API ServerImpl : public Server {
public:
    /* Throws std::bad_alloc if there is no memory for `directSize` addresses. */
    explicit ServerImpl(uint32_t directSize);

    /* Calls close(). Nobody may be using the server. */
    ~ServerImpl() override;

    /* Removes all mailboxes and registers no others. Other threads may still be sending, as at the
     * end of a process; they find no mailbox. */
    void close();

    void addMailbox(const Mem::Ptr<Mailbox>& mailbox) override;
    void removeMailbox(uint32_t address) override;

    /* Finds the mailbox with getMailbox, which a derived server may override. */
    bool send(const Message& message) override;

    Mem::Ptr<Mailbox> getMailbox(uint32_t address) override;

private:
    using Overflow = std::map<uint32_t, Mem::Ptr<Mailbox>, std::less<>,
                              qz::allocator<std::pair<const uint32_t, Mem::Ptr<Mailbox>>>>;
    using Direct = qz::vector<Mem::Ptr<Mailbox>>;
    struct QZ_LOCAL Directory;

    QZ_LOCAL void addToOverflow(uint32_t address, const Mem::Ptr<Mailbox>& mailbox);
    QZ_LOCAL Mem::Ptr<Mailbox> take(uint32_t address);
    QZ_LOCAL Mem::Ptr<Mailbox> find(uint32_t address) const;

    Sync::Futex lock_;    /* taken to change mailboxes, and to find them meanwhile */
    uint32_t directSize_; /* 0 when it is closed */
    Direct direct_;
    Overflow overflow_; /* holds the mailboxes, in the order of release */
    bool isClosed_ = false;
    Mem::Ptr<Directory> directory_; /* finds them */
};

} // namespace Mail

#endif

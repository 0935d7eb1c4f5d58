/* Delivering messages to whoever is registered under their address. C++ only, for programs built by
 * the library's compiler.
 *
 * There is no queue and no thread: a message is handled within send(), on the sender's thread. The
 * process's own server is `globalMail`.
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
#include <memory>
#include <stdint.h>
#include <utility>

namespace Mail {

/* A receiver; derive from it. The server and everybody who sends to it keep it alive. Made with new
 * and held by a pointer that counts: Mem::Ptr<Mail::Mailbox>(new Tower). */
class QZ_API Mailbox : public Mem::Shared {
public:
    explicit Mailbox(uint32_t ownAddress = 0) : address(ownAddress) {}
    ~Mailbox() override;

    /* Under which it is registered, and it must not change while it is: the server goes by the
     * address that a mailbox had when it was added. */
    uint32_t address;

    /* Handles a message and says whether it was accepted. Runs on the sender's thread, on several
     * at once if several send. It may do anything, send and unregister its own mailbox included.
     * Messages are shared: what is to be changed is to be copied. */
    virtual bool receive(const Message& message) = 0;
};

/* Any thread may call anything at any time, and nothing of it throws but what a mailbox throws. */
class QZ_API Server {
public:
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    virtual ~Server();

    /* Registers a mailbox under its own address. Who comes first stays: a mailbox whose address
     * is taken is ignored, and so is null. Nor is one registered if there is no memory for it;
     * getMailbox tells. */
    virtual void addMailbox(const Mem::Ptr<Mailbox>& mailbox) = 0;

    /* Makes an address free again. Does nothing if it is. A thread that began to send to the
     * mailbox before may still call its receive() after this. */
    virtual void removeMailbox(uint32_t address) = 0;

    /* Lets the receiver at the message's address handle it and returns its result; false if there
     * is none, or no message. What a writer that has not finished wrote is not in the message. */
    virtual bool send(const Message& message) = 0;

    /* The mailbox at an address, or null. */
    virtual Mem::Ptr<Mailbox> getMailbox(uint32_t address) = 0;

protected:
    Server() = default;
};

/* The server. Addresses below a size are found at once, all others by way of a hash table. Senders
 * do not wait for each other, however many there are, but for threads that add and remove
 * mailboxes. */
class QZ_API ServerImpl : public Server {
public:
    /* Throws std::bad_alloc if there is no memory for that many. */
    explicit ServerImpl(uint32_t directSize);

    /* close(). Nobody may use it any more. */
    ~ServerImpl() override;

    /* Lets go of all mailboxes and takes no others, as at the end of a process, when other threads
     * may still be sending: to them, there is nobody. */
    void close();

    void addMailbox(const Mem::Ptr<Mailbox>& mailbox) override;
    void removeMailbox(uint32_t address) override;

    /* Looks the receiver up with getMailbox, so a derived server may find it in another way. */
    bool send(const Message& message) override;

    Mem::Ptr<Mailbox> getMailbox(uint32_t address) override;

private:
    using Overflow = std::map<uint32_t, Mem::Ptr<Mailbox>, std::less<>,
                              qz::allocator<std::pair<const uint32_t, Mem::Ptr<Mailbox>>>>;
    using Direct = qz::vector<Mem::Ptr<Mailbox>>;
    struct Directory;

    QZ_LOCAL void addToOverflow(uint32_t address, const Mem::Ptr<Mailbox>& mailbox);
    QZ_LOCAL Mem::Ptr<Mailbox> take(uint32_t address);
    QZ_LOCAL Mem::Ptr<Mailbox> find(uint32_t address) const;

    Sync::Futex lock_;    /* of those who change something, and of those who then want to read */
    uint32_t directSize_; /* 0 when it is closed */
    Direct direct_;
    Overflow overflow_; /* keeps the mailboxes, in the order in which they are let go */
    bool isClosed_ = false;
    std::unique_ptr<Directory> directory_; /* finds them */
};

} // namespace Mail

#endif

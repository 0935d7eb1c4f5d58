#include "Mail/Server.h"

#include "core/invariant.h"
#include "mail/address_index.h"
#include "mail/readers.h"

#include <mutex>
#include <new>
#include <utility>

namespace Mail {

// How senders find mailboxes at addresses that are not below directSize_.
struct ServerImpl::Directory : Mem::Shared {
    Readers readers; // of the index, of directSize_ and of direct_
    AddressIndex index;
    core::NowAndThen checkOfAll;

    static void check(const ServerImpl& server);
    static void check(const ServerImpl& server, std::uint32_t address);
};

// Who calls these has readers kept out.
inline void ServerImpl::Directory::check(const ServerImpl& server) {
    const AddressIndex& index = server.directory_->index;
    core::invariant(server.direct_.size() == server.directSize_,
                    "mail server: the table of low addresses has another size than is said");
    core::invariant(server.overflow_.size() == index.size(),
                    "mail server: not all mailboxes are in the index, or others are");
    core::invariant(!server.isClosed_ || (server.directSize_ == 0 && index.size() == 0),
                    "mail server: it is closed, and has mailboxes");
    server.directory_->checkOfAll.afterChange([&] { return index.check(); });
}

inline void ServerImpl::Directory::check(const ServerImpl& server, std::uint32_t address) {
    if (address >= server.directSize_) {
        const AddressIndex& index = server.directory_->index;
        const auto kept = server.overflow_.find(address);
        const bool isKept = kept != server.overflow_.end();
        core::invariant(index.find(address) == (isKept ? kept->second.get() : nullptr),
                        "mail server: the index has another mailbox than is kept");
        index.checkNear(address);
    }
    check(server);
}

Mailbox::~Mailbox() = default;

Server::~Server() = default;

ServerImpl::ServerImpl(std::uint32_t directSize)
    : directSize_(directSize), direct_(directSize), directory_(new Directory) {}

ServerImpl::~ServerImpl() {
    close();
}

// The mailboxes are released after the lock, as in removeMailbox.
void ServerImpl::close() {
    Direct direct;
    Overflow overflow;
    const std::lock_guard lock(lock_);
    const Readers::Change change(directory_->readers);
    const core::AtEnd checked([this] { Directory::check(*this); });
    isClosed_ = true;
    directSize_ = 0;
    direct.swap(direct_);
    overflow.swap(overflow_);
    directory_->index.clear();
}

void ServerImpl::addMailbox(const Mem::Ptr<Mailbox>& mailbox) {
    if (!mailbox) {
        return;
    }
    const std::uint32_t address = mailbox->address;
    const std::lock_guard lock(lock_);
    const Readers::Change change(directory_->readers);
    const core::AtEnd checked([&] { Directory::check(*this, address); });
    if (address < directSize_) {
        if (!direct_[address]) {
            direct_[address] = mailbox;
        }
    } else if (!isClosed_) {
        addToOverflow(address, mailbox);
    }
}

void ServerImpl::addToOverflow(std::uint32_t address, const Mem::Ptr<Mailbox>& mailbox) {
    if (directory_->index.find(address) != nullptr) {
        return;
    }
    try {
        overflow_.emplace(address, mailbox);
        directory_->index.add(address, mailbox.get());
    } catch (const std::bad_alloc&) {
        overflow_.erase(address); // the mailbox is not registered, as the header says
    }
}

// The mailbox is released after the lock, because its destructor may call the server.
void ServerImpl::removeMailbox(std::uint32_t address) {
    const Mem::Ptr<Mailbox> removed = take(address);
}

Mem::Ptr<Mailbox> ServerImpl::take(std::uint32_t address) {
    const std::lock_guard lock(lock_);
    const Readers::Change change(directory_->readers);
    const core::AtEnd checked([&] { Directory::check(*this, address); });
    if (address < directSize_) {
        return std::move(direct_[address]);
    }
    directory_->index.remove(address);
    const auto node = overflow_.extract(address);
    return node ? std::move(node.mapped()) : nullptr;
}

bool ServerImpl::send(const Message& message) {
    if (!message) {
        return false;
    }
    const Mem::Ptr<Mailbox> receiver = getMailbox(message.getAddress());
    return receiver && receiver->receive(message);
}

Mem::Ptr<Mailbox> ServerImpl::getMailbox(std::uint32_t address) {
    {
        const Readers::Visit visit(directory_->readers);
        if (visit) {
            return find(address);
        }
    }
    const std::lock_guard lock(lock_);
    return find(address);
}

Mem::Ptr<Mailbox> ServerImpl::find(std::uint32_t address) const {
    if (address < directSize_) {
        return direct_[address];
    }
    return Mem::Ptr<Mailbox>(directory_->index.find(address));
}

} // namespace Mail

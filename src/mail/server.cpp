#include "Mail/Server.h"

#include <mutex>
#include <new>
#include <utility>

namespace Mail {

Mailbox::~Mailbox() = default;

Server::~Server() = default;

ServerImpl::ServerImpl(std::uint32_t directSize) : directSize_(directSize), direct_(directSize) {}

ServerImpl::~ServerImpl() {
    close();
}

// The mailboxes go when the lock has been given up, as in removeMailbox.
void ServerImpl::close() {
    Direct direct;
    Overflow overflow;
    const std::lock_guard lock(lock_);
    isClosed_ = true;
    directSize_ = 0;
    direct.swap(direct_);
    overflow.swap(overflow_);
}

void ServerImpl::addMailbox(const Mem::Ptr<Mailbox>& mailbox) {
    if (!mailbox) {
        return;
    }
    const std::uint32_t address = mailbox->address;
    const std::lock_guard lock(lock_);
    if (address < directSize_) {
        if (!direct_[address]) {
            direct_[address] = mailbox;
        }
    } else if (!isClosed_) {
        addToOverflow(address, mailbox);
    }
}

void ServerImpl::addToOverflow(std::uint32_t address, const Mem::Ptr<Mailbox>& mailbox) {
    try {
        overflow_.try_emplace(address, mailbox);
    } catch (const std::bad_alloc&) {
        // Not registered, as the header says.
    }
}

// The mailbox goes when the lock has been given up: its destructor may call the server.
void ServerImpl::removeMailbox(std::uint32_t address) {
    const Mem::Ptr<Mailbox> removed = take(address);
}

Mem::Ptr<Mailbox> ServerImpl::take(std::uint32_t address) {
    const std::lock_guard lock(lock_);
    if (address < directSize_) {
        return std::move(direct_[address]);
    }
    const auto found = overflow_.find(address);
    if (found == overflow_.end()) {
        return nullptr;
    }
    Mem::Ptr<Mailbox> mailbox = std::move(found->second);
    overflow_.erase(found);
    return mailbox;
}

bool ServerImpl::send(const Message& message) {
    if (!message) {
        return false;
    }
    const Mem::Ptr<Mailbox> receiver = getMailbox(message.getAddress());
    return receiver && receiver->receive(message);
}

Mem::Ptr<Mailbox> ServerImpl::getMailbox(std::uint32_t address) {
    const std::lock_guard lock(lock_);
    if (address < directSize_) {
        return direct_[address];
    }
    const auto found = overflow_.find(address);
    return found == overflow_.end() ? nullptr : found->second;
}

} // namespace Mail

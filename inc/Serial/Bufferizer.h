/* States for a network: a value as bits in messages, whole or as what differs from a state that
 * both sides have. C++ only, for programs built by the library's compiler.
 *
 * The function `serialize` of a class is the same as for Common::CommonSerializer. Fields may say
 * how many bits they need, by transferBits, transferFixed and transferHalf:
 *
 *     Common::Bufferizer writing(number, base);
 *     writing.transfer("world", world);
 *     if (writing.finish()) {
 *         for (const Mail::Message& message : writing.getMessages(kAddress)) { ... send ... }
 *     }
 *
 *     // at the other side, with `parts`, a StateParts, once for each message that came
 *     if (parts.add(message) == Common::StateParts::Added::kComplete) {
 *         Common::Bufferizer reading(parts, base);
 *         reading.transfer("world", world);
 *         if (reading.finish()) { base = reading.getBaseline(); } else { ... getError() ... }
 *     }
 *
 * For many objects that refer to each other there is Common::CommonBufferizer.
 *
 * Both sides have the same classes: a state has neither names nor versions in it, and getVersion is
 * the highest number. Names, types, widths and ranges go into its sum, by which the other side
 * notices that its classes differ; a value has the same name on both sides, or none. Names are
 * literals: the text behind a pointer stays what it is. References are errors, except null.
 * Enumerations have a fixed underlying type: any number of that type may come.
 *
 * Nothing in a message is trusted: parts have a sum, lengths are held against what is left, and the
 * size of a state and the depth of values are limited by the caller. Sums and sessions tell damage
 * and mistakes, not forgery: who can send messages as the sender can replace its state.
 *
 * std::bad_alloc and what the classes themselves throw is passed on.
 *
 * Threads: an object of these classes, and what it transfers, belongs to one thread.
 *
 * docs/formats/state.md has the bits.
 */
#ifndef QZCORE_SERIAL_BUFFERIZER_H
#define QZCORE_SERIAL_BUFFERIZER_H

#include "Common/Allocator.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "Mail/Message.h"
#include "Serial/CommonSerializer.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace Common {

namespace detail {

/* What all messages of a state say about it. */
struct StateHeader {
    std::uint32_t session = 0; /* a random number of the sender */
    std::uint32_t number = 0;
    std::uint32_t sum = 0;
    std::uint32_t base = 0; /* the number of its base line; 0: none */
    std::uint32_t baseSum = 0;
    std::uint32_t size = 0;     /* of the state in bytes */
    std::uint16_t partSize = 0; /* how many of these each part but the last has */

    bool operator==(const StateHeader&) const = default;
};

} // namespace detail

/* Puts the messages of a state together again. A state takes as many as it needs, and they may come
 * in any order.
 *
 * One state is collected at a time. The first message of one with a higher number begins it, and
 * drops what there was of the one before.
 *
 * The states of one sender belong to a session, which has a random number; the first message that
 * is taken decides which session it is. A sender that begins anew has another session: `clear`
 * makes room for it. Its messages may be mixed with late ones of the session before, so clear only
 * when nothing of the known session has come for a while. */
class QZ_API StateParts {
public:
    static constexpr std::size_t kMostBytes = std::size_t{1} << 24;

    /* What fits into a datagram of UDP: the default size of messages that are written. */
    static constexpr std::size_t kDatagramBytes = 65'507;

    /* Refuses states of more bytes than these. */
    explicit StateParts(std::size_t mostBytes = kMostBytes) : mostBytes_(mostBytes) {}

    enum class Added {
        kWaiting,     /* taken, and there are others to come */
        kComplete,    /* taken, and the state is complete */
        kDuplicate,   /* a part that is there already: nothing happened */
        kOld,         /* of a state with a lower number: nothing happened */
        kOtherSender, /* of another session: nothing happened */
        kRefused      /* damaged, no part of a state, or of one that is too large, or that has the
                         same number as the one that is collected and is another: nothing happened */
    };

    /* Copies what it needs of the message. */
    Added add(const Mail::Message& message);

    /* Forgets everything, session and numbers included: for a sender that begins anew. */
    void clear();

    bool isComplete() const { return !parts_.empty() && missing_ == 0; }

    /* The session whose states are taken; 0 before the first message. */
    std::uint32_t getSession() const { return header_.session; }

    /* Of the state that is collected: its number, 0 if there is none, and that of its base line, 0
     * if it is a whole state. */
    std::uint32_t getNumber() const { return header_.number; }
    std::uint32_t getBase() const { return header_.base; }

    /* How many parts are not there yet. */
    std::size_t getMissing() const { return missing_; }

    /* How many states were begun and not completed before another one began. */
    std::size_t getDropped() const { return dropped_; }

private:
    friend class Bufferizer;
    friend class CommonBufferizer;

    QZ_LOCAL bool begin(const detail::StateHeader& header);
    QZ_LOCAL void putTogether();

    detail::StateHeader header_;
    std::size_t mostBytes_;
    std::size_t missing_ = 0;
    std::size_t dropped_ = 0;
    qz::vector<qz::vector<unsigned char>> parts_;
    qz::vector<unsigned char> bytes_; /* when it is whole */
};

/* A state that both sides have. Copies share it. */
class QZ_API Baseline {
public:
    /* No state: what is written beside it is whole. */
    Baseline() = default;

    std::uint32_t getNumber() const { return header_.number; }
    explicit operator bool() const { return header_.number != 0; }

private:
    friend class Bufferizer;

    detail::StateHeader header_;
    std::shared_ptr<const void> image_;
};

/* A value's state as bits in messages: writes it, or reads it.
 *
 * When `finish` is true after reading, all bits were read, and the state is what was sent.
 * Otherwise the values before the error have been read, and those behind it are as they were. If
 * the sum alone is wrong, all values have been read, and the classes of the sender are others. */
class QZ_API Bufferizer final : public CommonSerializer {
public:
    struct Limits {
        std::uint32_t depth = 64; /* of values within each other */

        /* Of memory, for what is read beside the values themselves: 16 for each number. */
        std::size_t bytes = std::size_t{1} << 28;
    };

    /* Writes a state: whole, or what differs from a base line. Its number is the caller's, higher
     * than those before and not 0. All states of a process belong to one session. */
    explicit Bufferizer(std::uint32_t number, const Baseline& base = Baseline());

    /* Reads a state that is complete. The base line is the one with the number `parts.getBase()`,
     * whatever it is for a whole state; another one is an error, and nothing is read then. The
     * parts stay as they are until `finish`. */
    Bufferizer(const StateParts& parts, const Baseline& base);
    Bufferizer(const StateParts& parts, const Baseline& base, const Limits& limits);

    ~Bufferizer() override;

    /* After `finish` has been true: what was written, as messages to an address, of up to
     * `mostBytes` bytes each, which is 37 to 65,535. A state takes one message at least, and 65,536
     * at most. None, and an error, if that does not do or there is no memory. Otherwise none. */
    std::vector<Mail::Message> getMessages(std::uint32_t address,
                                           std::size_t mostBytes = StateParts::kDatagramBytes);

    /* After `finish` has been true: the state as a base line for others. Otherwise no state. */
    Baseline getBaseline() const;

private:
    Baseline base_; /* stays while it is read from */
    detail::StateHeader header_;
};

} // namespace Common

#endif

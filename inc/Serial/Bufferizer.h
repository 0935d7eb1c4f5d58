/* States for a network: a value is written as bits in messages, whole or as its difference from a
 * state that both sides have. C++ only, for programs built by the library's compiler.
 *
 * Classes have the same function `serialize` as for Common::CommonSerializer. With transferBits,
 * transferFixed and transferHalf it sets the number of bits of a value:
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
 * Both sides must have the same classes: a state has neither names nor versions in it, and
 * getVersion returns the highest number. Names, types, widths and ranges of values go into the
 * check sum of a state, by which the other side notices that its classes differ. A value has the
 * same name on both sides, or none. Names are literals: the text behind a pointer must not change.
 * References other than null are errors. Enumerations need a fixed underlying type, because any
 * number of that type may be read.
 *
 * Nothing in a message is trusted: parts have a check sum, lengths are compared with the bits left,
 * and the caller limits the size of a state and the depth of values. Sums and sessions detect
 * damage and mistakes, but not forgery: whoever can send messages in the name of the sender can
 * replace its state.
 *
 * std::bad_alloc and exceptions of the classes reach the caller.
 *
 * Threads: an object of these classes and all that it transfers are for one thread.
 *
 * docs/formats/state.md describes the format.
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

/* The header that all messages of a state have. */
struct StateHeader {
    std::uint32_t session = 0; /* a random number of the sender */
    std::uint32_t number = 0;
    std::uint32_t sum = 0;
    std::uint32_t base = 0; /* the number of its base line; 0: none */
    std::uint32_t baseSum = 0;
    std::uint32_t size = 0;     /* of the state in bytes */
    std::uint16_t partSize = 0; /* the bytes of each part but the last */

    bool operator==(const StateHeader&) const = default;
};

} // namespace detail

/* Collects the messages of a state. A state has one or several messages, which may arrive in any
 * order.
 *
 * One state is collected at a time. A message of a state with a higher number begins that state and
 * drops the one before.
 *
 * The states of a sender belong to a session, which has a random number. The first message that is
 * accepted determines the session. When a sender is restarted it has another session, which is
 * accepted after `clear`. Late messages of the old session may arrive among those of the new one,
 * so call clear only when no message of the known session has arrived for a while. */
class QZ_API StateParts {
public:
    static constexpr std::size_t kMostBytes = std::size_t{1} << 24;

    /* The largest size of a UDP datagram, and the default size of messages that are written. */
    static constexpr std::size_t kDatagramBytes = 65'507;

    /* Refuses states of more than `mostBytes` bytes. */
    explicit StateParts(std::size_t mostBytes = kMostBytes) : mostBytes_(mostBytes) {}

    enum class Added {
        kWaiting,     /* accepted; others are missing */
        kComplete,    /* accepted; the state is complete */
        kDuplicate,   /* ignored: the part was accepted before */
        kOld,         /* ignored: of a state with a lower number */
        kOtherSender, /* ignored: of another session */
        kRefused      /* ignored: damaged, no part of a state, of a state that is too large, or of
                         another state with the number of the one that is collected */
    };

    /* Adds a message, whose bytes are copied. */
    Added add(const Mail::Message& message);

    /* Forgets everything, session and numbers included, to accept a sender that was restarted. */
    void clear();

    bool isComplete() const { return !parts_.empty() && missing_ == 0; }

    /* The session whose states are accepted; 0 before the first message. */
    std::uint32_t getSession() const { return header_.session; }

    /* The number of the state that is collected, 0 if there is none; and the number of its
     * base line, 0 if the state is whole. */
    std::uint32_t getNumber() const { return header_.number; }
    std::uint32_t getBase() const { return header_.base; }

    /* The number of missing parts. */
    std::size_t getMissing() const { return missing_; }

    /* The number of states that were incomplete when another one began. */
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
    qz::vector<unsigned char> bytes_; /* of the complete state */
};

/* A state that both sides have. Copies share it. */
class QZ_API Baseline {
public:
    /* Makes an empty base line, with which states are written whole. */
    Baseline() = default;

    std::uint32_t getNumber() const { return header_.number; }
    explicit operator bool() const { return header_.number != 0; }

private:
    friend class Bufferizer;

    detail::StateHeader header_;
    std::shared_ptr<const void> image_;
};

/* Writes or reads the state of a value as bits in messages.
 *
 * If `finish` returns true after reading, all bits were read, and the state is the one that was
 * sent. Otherwise the values before the error were read, and those behind it have not changed. If
 * only the sum is wrong, all values were read, but the sender has other classes. */
class QZ_API Bufferizer final : public CommonSerializer {
public:
    struct Limits {
        std::uint32_t depth = 64; /* of nested values */

        /* of memory for reading, without the values themselves: 16 for each number */
        std::size_t bytes = std::size_t{1} << 28;
    };

    /* Writes a state, whole or as the difference from a base line. The caller chooses the number,
     * which is not 0 and higher than those of earlier states. All states of a process belong to one
     * session. */
    explicit Bufferizer(std::uint32_t number, const Baseline& base = Baseline());

    /* Reads a complete state. The base line must have the number `parts.getBase()`; another one is
     * an error, and nothing is read then. For a whole state the base line is not used. The parts
     * must not change until `finish`. */
    Bufferizer(const StateParts& parts, const Baseline& base);
    Bufferizer(const StateParts& parts, const Baseline& base, const Limits& limits);

    ~Bufferizer() override;

    /* Returns the state as messages to an address, after `finish` has returned true for writing;
     * otherwise none. Messages have up to `mostBytes` bytes each, which is 37 to 65,535. A state
     * has 1 to 65,536 messages; if it would have more, or there is no memory, none are returned,
     * and that is an error. */
    std::vector<Mail::Message> getMessages(std::uint32_t address,
                                           std::size_t mostBytes = StateParts::kDatagramBytes);

    /* Returns the state as a base line for others, after `finish` has returned true; otherwise an
     * empty one. */
    Baseline getBaseline() const;

private:
    Baseline base_; /* kept because it is read from */
    detail::StateHeader header_;
};

} // namespace Common

#endif

/* States of many objects for a network: a simulation writes its changes thirty times a second, and
 * watching programs read them. C++ only, for programs built by the library's compiler.
 *
 * The objects are of classes derived from SerializableObject. Each has the same number on both
 * sides, and references between objects are transferred as these numbers. Classes have the function
 * `serialize` of Serial/Bufferizer.h.
 *
 *     // simulating
 *     Common::CommonBufferizer states;
 *     states.add(17, ferry);
 *     ...
 *     states.mark(17); // it moved
 *     states.captureMarked();
 *     for (const Mail::Message& message : states.write(confirmed, kAddress)) { ... send ... }
 *
 *     // watching; the objects are made by the names of their classes
 *     Common::CommonBufferizer states(*registry);
 *     Common::StateParts parts;
 *     ...
 *     if (parts.add(message) == Common::StateParts::Added::kComplete && states.read(parts)) {
 *         ... tell the sender that states.getNumber() is there ...
 *     }
 *
 * Both sides must have the same classes. A class with other fields, in another order, or of another
 * version is an error that names the class. docs/formats/state.md says what is compared.
 *
 * Each side keeps the last states as base lines. The sender can write the difference from any of
 * them, so that receivers may have different states. An object that did not change takes no bits.
 *
 * A removed object is kept as long as a state that has it. Both sides hold references, which they
 * release in the order in which the objects refer to each other, so that a long chain does not
 * overflow the stack. To find that order, `serialize` is called for a removed object that no state
 * has. Removed objects that refer to each other in a cycle keep each other alive, on both sides:
 * clear such a reference in an earlier state. Objects of refused states are read once more with all
 * values 0, which clears their references, and are released.
 *
 * Errors: functions that can fail return false, 0 or no messages, and getError tells why. Nothing
 * is thrown: exceptions of the classes and std::bad_alloc are such errors.
 *
 * `serialize` must not call functions that change states or objects. They fail then, and so does
 * the capture or reading that called `serialize`.
 *
 * Threads: a bufferizer and its objects are for one thread.
 */
#ifndef QZCORE_SERIAL_COMMONBUFFERIZER_H
#define QZCORE_SERIAL_COMMONBUFFERIZER_H

#include "Common/Factory.h"
#include "Common/SharedObject.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "Mail/Message.h"
#include "Serial/Bufferizer.h"
#include "Serial/CommonSerializer.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Common {

class CommonBufferizer {
public:
    struct Limits {
        std::uint32_t objects = 1U << 20; /* of a state that is read */
        std::uint32_t depth = 64;         /* of nested values */
        std::uint32_t states = 64;        /* that are kept; the oldest is dropped first */

        /* Of memory, approximately, for the states that are kept: some 128 for each object that a
         * state has changed, and 16 for each of its numbers, even if these have few bits. A state
         * that is read and takes more is refused; raise the limit for worlds of a million objects.
         * Older states together may take as much; the oldest one is dropped first. Reading takes as
         * much again for a while. */
        std::size_t bytes = std::size_t{1} << 28;
    };

    /* For programs that only write; reading cannot make objects. */
    QZ_API CommonBufferizer();

    /* The factories outlive it. */
    QZ_API explicit CommonBufferizer(FactoryManager& factories);
    QZ_API CommonBufferizer(FactoryManager& factories, const Limits& limits);

    CommonBufferizer(const CommonBufferizer&) = delete;
    CommonBufferizer& operator=(const CommonBufferizer&) = delete;
    QZ_API ~CommonBufferizer();

    /* Adds an object under a number, which is not 0 and not that of another object. An object has
     * only one number. It is marked at first. The name of its class has 255 bytes at most. A
     * watching side does not call `add` and `remove`; `read` adds and removes its objects. */
    QZ_API bool add(std::uint32_t number, const Ref<SerializableObject>& object);

    /* Removes an object. Returns false if there is none of this number. No state can be captured
     * while another object refers to it; `captureMarked` also looks at the objects that did so,
     * even if they are not marked. Another object may have the number at once. */
    QZ_API bool remove(std::uint32_t number);

    /* Returns the object of a number; null if there is none. */
    QZ_API SerializableObject* get(std::uint32_t number) const;

    QZ_API std::size_t getCount() const;

    /* Marks an object that may have changed. Returns false if there is none of this number. */
    QZ_API bool mark(std::uint32_t number);

    /* Makes a new state of all objects and returns its number, counted from 1. Returns 0, without a
     * new state, if an object could not be written, and after the number 2^32 - 1 until `reset` is
     * called: after 50 days with a thousand states a second. */
    QZ_API std::uint32_t capture();

    /* The same, but looks only at marked objects; others must not have changed. The time is in
     * proportion to the number of marked objects. Marked objects that did not change take no bits.
     */
    QZ_API std::uint32_t captureMarked();

    /* Returns the newest state, captured or read, as messages to an address: whole if `base` is 0
     * or no longer kept, otherwise the difference from the state `base`. The sizes of messages are
     * as in Bufferizer::getMessages. Returns at least one message; none, with an error, if there is
     * no state, or it cannot be divided into such messages. */
    QZ_API std::vector<Mail::Message> write(std::uint32_t base, std::uint32_t address,
                                            std::size_t mostBytes = StateParts::kDatagramBytes);

    /* Drops the states with lower numbers, which are no longer needed as base lines. The newest
     * state stays. */
    QZ_API void forget(std::uint32_t before);

    /* Reads a state: makes new objects, removes others, and reads those that changed. The state has
     * to be newer than the last one, and of the same sender. Its base line has to be a state that
     * was read and is still kept; states older than the base line are dropped. An object stays the
     * same until it is removed. It is an error if a factory returns an object that already has a
     * number.
     *
     * Returns false if there was an error; then the state is still the one before. Objects that
     * were already read are read back from that state, so changes that they have made themselves
     * since are lost. If that fails as well, getNumber is 0, and the next state has to be whole. */
    QZ_API bool read(const StateParts& parts);

    /* Drops all states and begins their numbers again, but keeps the objects. States that are
     * captured later belong to a new session, and the next state to read may be of any sender. */
    QZ_API void reset();

    /* The session of the states that are written: a random number, which StateParts::getSession
     * returns at the other side. */
    QZ_API std::uint32_t getSession() const;

    /* The number of the newest state; 0 if there is none. */
    QZ_API std::uint32_t getNumber() const;

    /* The last error, with the path of the value: "object 17 (Ferry): crew[3].rank: ...". */
    QZ_API const std::string& getError() const;

private:
    struct State;

    std::unique_ptr<State> state_;
};

} // namespace Common

#endif

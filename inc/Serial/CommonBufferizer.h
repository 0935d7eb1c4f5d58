/* States of many objects for a network: a simulation writes thirty times a second what has changed,
 * and those who watch read it. C++ only, for programs built by the library's compiler.
 *
 * Both sides know the objects, of classes that descend from SerializableObject, by numbers.
 * References between them are transferred as these. The function `serialize` of a class is the one
 * for files, in the form of Serial/Bufferizer.h.
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
 * Both sides have the same classes: those with other fields, in another order, or of another
 * version are an error that names the class. docs/formats/state.md says what is compared.
 *
 * Each side keeps the last states as base lines. The sender writes what differs from any of them,
 * so that several receivers may be at different ones. An object that did not change costs nothing.
 *
 * An object that is removed is kept as long as a state is that has it. Both sides hold references,
 * which they release in the order in which the objects refer to each other, so that a long chain
 * does not go deep. An object that no state has is asked for that order, by `serialize`. Objects
 * that refer to each other in a circle keep each other when they are removed, on both sides, as
 * they do anywhere: clear such a reference in a state before. Objects of states that were refused
 * are emptied, by a reading in which all values are 0, and released.
 *
 * Errors: functions that can fail return false, 0 or nothing, and getError tells why; nothing is
 * thrown. What the classes throw, whatever it is, and std::bad_alloc are such errors.
 *
 * In `serialize` classes must not call functions that change states or objects. These fail then,
 * and so does the capture or reading that they are in the middle of.
 *
 * Threads: all of it, the objects included, belongs to one thread.
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
        std::uint32_t objects = 1U << 20; /* that a state which is read may have */
        std::uint32_t depth = 64;         /* of values within each other */
        std::uint32_t states = 64;        /* that are kept; the oldest one goes first */

        /* Of memory, about, for the states that are kept: some 128 for each object that a state
         * has changed, and 16 for each of its numbers, however few bits these took. A state that is
         * read and would take more is refused, a world of some million objects with it: raise the
         * limit for that. Older states may take as much together; the oldest one goes first.
         * Reading takes as much again for a while. */
        std::size_t bytes = std::size_t{1} << 28;
    };

    /* For one who only writes; reading makes no objects. */
    QZ_API CommonBufferizer();

    /* The factories outlive it. */
    QZ_API explicit CommonBufferizer(FactoryManager& factories);
    QZ_API CommonBufferizer(FactoryManager& factories, const Limits& limits);

    CommonBufferizer(const CommonBufferizer&) = delete;
    CommonBufferizer& operator=(const CommonBufferizer&) = delete;
    QZ_API ~CommonBufferizer();

    /* Gives an object a number, which is not 0 and nobody else's. The object counts as marked. An
     * object has one number only. The name of its class has 255 bytes at most. A watching side
     * leaves `add` and `remove` to `read`. */
    QZ_API bool add(std::uint32_t number, const Ref<SerializableObject>& object);

    /* Takes an object out. False if there is none of this number. Until no other object refers to
     * it any more, states cannot be captured: `captureMarked` looks at those that did, too, marked
     * or not. Its number may be given to another object at once. */
    QZ_API bool remove(std::uint32_t number);

    /* The object of a number; null if there is none. */
    QZ_API SerializableObject* get(std::uint32_t number) const;

    QZ_API std::size_t getCount() const;

    /* Says that an object may have changed. */
    QZ_API bool mark(std::uint32_t number);

    /* Makes a new state of what all objects are now, and returns its number, counted from 1; 0 if
     * an object could not be written, and nothing happened then. Behind 2^32 - 1, after 50 days of
     * a thousand states a second, there is no number left: an error until `reset`. */
    QZ_API std::uint32_t capture();

    /* The same, but looks only at objects that are marked: others have to be as they were. It takes
     * time in proportion to these. Those that did not change after all cost no bits. */
    QZ_API std::uint32_t captureMarked();

    /* The newest state, that was captured or read, as messages to an address: whole if `base` is 0
     * or not kept any more, otherwise what differs from that state. The sizes of messages are as in
     * Bufferizer::getMessages. At least one message; none, and an error, if there is no state, or
     * it cannot be cut into such messages. */
    QZ_API std::vector<Mail::Message> write(std::uint32_t base, std::uint32_t address,
                                            std::size_t mostBytes = StateParts::kDatagramBytes);

    /* Forgets the states before this one, which are not needed as base lines any more. The newest
     * one stays. */
    QZ_API void forget(std::uint32_t before);

    /* Takes a state over: makes objects, removes others, and reads those that changed. The state
     * has to be newer than the last one, and of the same sender. Its base line is a state that was
     * read and not forgotten; older states than this base line are forgotten. Objects stay the same
     * ones as long as they are not removed. A factory that gives out an object which has a number
     * already is an error.
     *
     * False if there was an error: then nothing happened. The objects into which something had been
     * read were read back from the state before: what they had changed since by themselves is
     * gone. If that failed as well, getNumber is 0, and the next state has to be a whole one. */
    QZ_API bool read(const StateParts& parts);

    /* Forgets all states, with their numbers, and keeps the objects. The states that are captured
     * from then on are those of another session; and those of any sender are read. */
    QZ_API void reset();

    /* The session of the states that are written: a random number, as StateParts::getSession has it
     * at the other side. */
    QZ_API std::uint32_t getSession() const;

    /* The number of the newest state; 0 if there is none. */
    QZ_API std::uint32_t getNumber() const;

    /* What went wrong last, with the path of the value: "object 17 (Ferry): crew[3].rank: ...". */
    QZ_API const std::string& getError() const;

private:
    struct State;

    std::unique_ptr<State> state_;
};

} // namespace Common

#endif

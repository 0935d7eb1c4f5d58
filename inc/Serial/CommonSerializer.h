/* Saving values and whole graphs of objects to a stream, and loading them. C++ only, for programs
 * built by the library's compiler.
 *
 * A class has one function that does both. It names its members; the serializer writes them, or
 * reads into them:
 *
 *     class Tank : public Common::SerializableObject {
 *     public:
 *         Tank() : SerializableObject("Tank") {}
 *         void serialize(Common::CommonSerializer& serializer) override {
 *             serializer.transfer("fuel", fuel_);
 *             serializer.transfer("crew", crew_);     // std::vector<Soldier>
 *             serializer.transfer("target", target_); // Common::Ref<Tank>
 *         }
 *         ...
 *
 *     Common::CommonSerializer saving(file);
 *     saving.transfer("world", world);
 *     if (!saving.finish()) { ... saving.getError() ... }
 *
 *     Common::CommonSerializer loading(file, *registry);
 *     loading.transfer("world", world);
 *     if (!loading.finish()) { ... }
 *
 * What can be transferred:
 * - booleans, integers, floats, enumerations, std::string, std::vector;
 * - with Serial/Containers.h the other containers, pairs, optional values, arrays;
 * - with Serial/MathTypes.h the types of Math, and the randomizers; predictors need no header;
 * - with Serial/Containers.h what a state machine is at (Common::FSM::Snapshot);
 * - structures and classes with a member function `serialize(Common::CommonSerializer&)`, or a free
 *   one `serialize(Common::CommonSerializer&, T&)` in their namespace or in Common; a RandomObject
 *   as it is;
 * - Common::Ref to an object of a class that descends from SerializableObject. Each object is
 *   written once, however many references there are; cycles close, and null stays null. Objects
 *   are not written within each other but one after the other, so that chains may have any length.
 *
 * When it is loaded, an object is made by the name of its class through a factory manager. A
 * reference is there at once, but the object that it leads to may be read later: `serialize` must
 * not look into it. A factory makes a new object each time; a reference to one that it has given
 * out before is an error.
 *
 * The file is the same on every system and for every compiler; docs/formats/objects.md has it byte
 * by byte. Nothing in it is trusted: it ends with a sum, lengths are held against what is left, and
 * the number of objects and the depth of nested values are limited by the caller. Within the limits
 * a file decides how long chains of your objects are: their destructors have to bear that.
 *
 * Errors: the first one stays, with the path of the value where it happened. From then on nothing
 * is transferred, and finish returns false. When saving, nothing has been written to the stream
 * then, unless it is the stream that failed. When loading: if the file as a whole is damaged, all
 * values are as they were. Otherwise those before the error have been read and those behind it are
 * as they were; a container in which it happened has the items before it. A reference that was read
 * leads to an object of the right class, but that object may not have been read, and a Record has
 * let go of its references.
 *
 * Memory: the whole file is in memory, once. std::bad_alloc and what the classes themselves throw
 * is passed on; then the serializer can only be destroyed.
 *
 * Threads: a serializer, and what it transfers, belongs to one thread.
 */
#ifndef QZCORE_SERIAL_COMMONSERIALIZER_H
#define QZCORE_SERIAL_COMMONSERIALIZER_H

#include "Common/Allocator.h"
#include "Common/Factory.h"
#include "Common/SharedObject.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "IO/Stream.h"
#include "Serial/SerializableObject.h"
#include "Serial/ValueSerializer.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>

namespace Common {

namespace detail {
class Form;
} // namespace detail

class QZ_API CommonSerializer : public ValueSerializer {
public:
    /* What a file may ask for. */
    struct Limits {
        std::uint64_t bytes = std::uint64_t{1} << 30;
        std::uint32_t objects = 1U << 22;
        std::uint32_t depth = 64; /* of values within each other, when saving, too */

        /* Whether objects of classes that no factory makes are kept as they are, as a
         * Common::Record. Otherwise a reference to one is an error. Records that refer to each
         * other in a circle keep each other, also those that no reference of yours leads to: call
         * Record::letGo for all that were reached, and load files of strangers without this. */
        bool keepsUnknown = false;
    };

    /* Saves to a stream, from its position on, when `finish` is called. The version is that of what
     * is saved as a whole; see getVersion. */
    explicit CommonSerializer(io::Stream& out, std::uint32_t version = 0);

    /* Loads from a stream, from its position on. The file as a whole is read and checked here; the
     * stream is then behind it and not used any more. The factories outlive the serializer. */
    CommonSerializer(io::Stream& in, FactoryManager& factories);
    CommonSerializer(io::Stream& in, FactoryManager& factories, const Limits& limits);

    CommonSerializer(const CommonSerializer&) = delete;
    CommonSerializer& operator=(const CommonSerializer&) = delete;

    /* Lets go of the objects: those that nothing else refers to are gone then. */
    ~CommonSerializer() override;

    /* Writes a value, or reads it. */
    template<class T>
    void transfer(T& value) {
        if constexpr (std::same_as<T, bool>) {
            transferBool(value);
        } else if constexpr (std::is_enum_v<T>) {
            auto number = static_cast<std::underlying_type_t<T>>(value);
            transfer(number);
            value = static_cast<T>(number);
        } else if constexpr (SerializedAsBytes<T>) {
            transferNumber(value);
        } else if constexpr (std::integral<T>) {
            transferInteger(value);
        } else {
            const Level level(*this);
            if (hasFailed_) { /* too deep, perhaps: values may contain each other */
                return;
            }
            if constexpr (requires { value.serialize(*this); }) {
                value.serialize(*this);
            } else {
                serialize(*this, value);
            }
        }
    }

    /* The same, for what calls the base. */
    void transfer(std::int32_t& value) final { transferInteger(value); }

    /* With a name, a literal, which appears in the paths of errors. */
    template<class T>
    void transfer(const char* name, T& value) {
        const char* const outer = name_;
        name_ = name;
        transfer(value);
        name_ = outer;
    }

    /* With a value that the class, or what is saved as a whole, has only since a version: what an
     * older version wrote leaves `missing` in it. */
    template<class T>
    void transferSince(std::uint32_t version, const char* name, T& value,
                       const std::type_identity_t<T>& missing = {}) {
        if (!isLoading_ || version_ >= version) {
            transfer(name, value);
        } else if (isGood()) {
            value = missing;
        }
    }

    /* ---- how many bits a value has in the forms for messages (Serial/Bufferizer.h)

     * A file has it as `transfer` would write it. The name may be null. */

    /* An integer or an enumeration in so many bits, 1 to 64; a signed one as two's complement. A
     * value that does not fit is an error when it is written. */
    template<class T>
    void transferBits(const char* name, T& value, int bits) {
        if constexpr (std::is_enum_v<T>) {
            auto number = static_cast<std::underlying_type_t<T>>(value);
            transferBits(name, number, bits);
            value = static_cast<T>(number);
        } else {
            static_assert(std::integral<T> && !std::same_as<T, bool>);
            if (!isPacked_) {
                transfer(name, value);
                return;
            }
            auto number = static_cast<std::uint64_t>(value);
            packInteger(name, number, bits, std::signed_integral<T>,
                        static_cast<int>(sizeof(T) * 8));
            value = static_cast<T>(number);
        }
    }

    /* A number from `lowest` to `highest` in 2^bits - 1 equal steps, the nearest; 1 to 32 bits.
     * Numbers beyond become `lowest` or `highest`, and what is not a number `lowest`. */
    template<std::floating_point T>
    void transferFixed(const char* name, T& value, std::type_identity_t<T> lowest,
                       std::type_identity_t<T> highest, int bits) {
        if (!isPacked_) {
            transfer(name, value);
            return;
        }
        double number = value;
        packFixed(name, number, lowest, highest, bits);
        if (isLoading_) {
            value = static_cast<T>(number);
        }
    }

    /* A number in 16 bits, as Math::float2half rounds it. */
    template<std::floating_point T>
    void transferHalf(const char* name, T& value) {
        if (!isPacked_) {
            transfer(name, value);
            return;
        }
        auto number = static_cast<float>(value);
        packHalf(name, number);
        if (isLoading_ && isGood()) {
            value = number;
        }
    }

    /* The version of the object that is being transferred, as its class had it when it was saved;
     * outside of objects that of what was saved as a whole. Values belong to the object around
     * them. In the forms for messages, whose two sides have the same classes, it is the highest
     * number. */
    std::uint32_t getVersion() const { return version_; }

    /* The end, without which nothing is saved. Saving: writes the objects that were referred to,
     * and those to which they refer, and hands everything to the stream, which is not flushed.
     * Loading: reads the objects, and skips values that were not asked for. False if there was an
     * error; further calls return the same.
     */
    bool finish();

    /* What went wrong, with the path of the value: "world.units[17].crew: ..."; empty if nothing
     * did. */
    const std::string& getError() const;

    /* For classes that find a value wrong. The first error counts. */
    void fail(const std::string& what);

    /* ---- for functions that serialize containers ---- */

    class Items; /* a value with items: Serial/Sequences.h */

    /* A length in front of bytes: writes it, or reads it and holds it against what is left for so
     * many times `size` bytes. 0 after an error. */
    std::size_t transferLength(std::size_t length, std::size_t size);

    template<class T>
    void transferReference(Ref<T>& reference) {
        if (!isLoading_) {
            if (writeReference(reference.get())) {
                introduce(*reference, dynamic_cast<SerializableObject*>(reference.get()));
            }
            return;
        }
        Identifiable* const object = readReference();
        T* const typed = dynamic_cast<T*>(object);
        if (object != nullptr && typed == nullptr) {
            failAsMisfit(*object);
        }
        if (isGood()) {
            reference = Ref<T>(typed);
        }
    }

protected:
    /* A form for messages. */
    QZ_LOCAL CommonSerializer(std::unique_ptr<detail::Form> form, bool isLoading,
                              std::uint32_t depth);

    QZ_LOCAL detail::Form& form() const;
    bool hasFinished() const { return isFinished_; }

    /* Takes what a form says is wrong, null if nothing is. */
    QZ_LOCAL bool accept(const char* error) noexcept;

private:
    friend class Record;
    struct State;

    /* A value around the one that is being transferred. */
    struct Scope {
        Scope* outer;
        const char* name;
        std::size_t index;  /* of the item within, from 1; 0: none */
        std::uint32_t node; /* in the tree of remembered paths; 0: not there yet */
    };

    class Level {
    public:
        explicit Level(CommonSerializer& serializer)
            : serializer_(serializer), scope_{serializer.scope_, serializer.name_, 0, 0} {
            serializer.scope_ = &scope_;
            serializer.name_ = nullptr;
            if (++serializer.depth_ > serializer.depthLimit_) {
                serializer.failAsTooDeep();
            }
            if (serializer.isPacked_) {
                serializer.openLevel();
            }
        }
        ~Level() {
            if (serializer_.isPacked_) {
                serializer_.closeLevel();
            }
            serializer_.scope_ = scope_.outer;
            serializer_.name_ = scope_.name;
            --serializer_.depth_;
        }
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;

    private:
        CommonSerializer& serializer_;
        Scope scope_;
    };

    bool prepareMore(std::size_t size) override;
    void transferMore(void* bytes, std::size_t size, bool isSigned) override;
    bool prepareCompact(std::uint64_t value, bool isSigned) override;
    std::uint64_t readLongCompact(bool isSigned) override;
    void packBool(unsigned char& byte) override;
    void failAsRange() override;

    /* What forms for messages have in their own ways. Their cursor is always at the end. */
    void packInteger(const char* name, std::uint64_t& number, int bits, bool isSigned, int most);
    void packFixed(const char* name, double& number, double lowest, double highest, int bits);
    void packHalf(const char* name, float& number);
    QZ_LOCAL void packNumber(std::uint64_t& number, std::uint32_t kind, std::uint64_t meaning);
    QZ_LOCAL void packBytes(unsigned char* bytes, std::size_t size, std::uint64_t meaning);
    QZ_LOCAL void packReference(const Identifiable* object);
    QZ_LOCAL Identifiable* unpackReference();
    void openLevel();
    void closeLevel();

    bool writeReference(const Identifiable* object); /* true for one that was not met before */
    void introduce(const Identifiable& object, SerializableObject* serializable);
    Identifiable* readReference();
    void failAsMisfit(const Identifiable& object);
    void failAsTooDeep();

    /* Of the record: bytes and references that it has, or that were not read yet. */
    QZ_LOCAL std::size_t usedBytes() const;
    QZ_LOCAL std::size_t used() const;
    QZ_LOCAL std::size_t left() const;

    QZ_LOCAL std::uint32_t nodeOf(Scope* scope);
    QZ_LOCAL std::string path() const;

    QZ_LOCAL void beginRecord(std::uint32_t version);
    QZ_LOCAL void endRecord();
    QZ_LOCAL void makeRoom(std::size_t size);
    QZ_LOCAL std::uint32_t writeClass(const SerializableObject& object);
    QZ_LOCAL void saveObjects();
    QZ_LOCAL void handOver();

    QZ_LOCAL void load(io::Stream& in);
    QZ_LOCAL void openRecord();
    QZ_LOCAL void readMention();
    QZ_LOCAL std::uint32_t readClass();
    QZ_LOCAL void makeObject(std::uint32_t classIndex);
    QZ_LOCAL bool hasNumber(const Identifiable& object);
    QZ_LOCAL void loadObjects();
    QZ_LOCAL void transferRest(qz::vector<unsigned char>& bytes,
                               qz::vector<Ref<Identifiable>>& references);

    bool isFinished_ = false;
    std::uint32_t version_ = 0;
    std::uint32_t depth_ = 0;
    std::uint32_t depthLimit_;
    const char* name_ = nullptr;
    Scope* scope_ = nullptr;
    std::unique_ptr<State> state_;
};

template<class T>
void serialize(CommonSerializer& serializer, Ref<T>& reference) {
    static_assert(std::derived_from<T, Identifiable>);
    serializer.transferReference(reference);
}

} // namespace Common

#include "Serial/Sequences.h" /* needs the class, and belongs to it */

#endif

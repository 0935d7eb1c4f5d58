/* Saves values and whole graphs of objects to a stream, and loads them. C++ only, for programs
 * built by the library's compiler.
 *
 * A class has one function for both. The function names the members; the serializer writes or reads
 * them:
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
 * - booleans, integers, floats, enumerations (give them a fixed type), std::string, std::vector;
 *   items that write nothing, such as empty structures, are an error;
 * - with Serial/Containers.h lists, deques, maps and sets (also unordered ones, and those
 *   that have a key several times), pairs, optional values, arrays;
 * - with Serial/MathTypes.h the types of Math, and the randomizers; predictors need no header;
 * - with Serial/Containers.h the snapshot of a state machine (Common::FSM::Snapshot);
 * - structures and classes with a member function `serialize(Common::CommonSerializer&)`, or a free
 *   function `serialize(Common::CommonSerializer&, T&)` in their namespace or in Common; a
 *   RandomObject has its own;
 * - Common::Ref to an object of a class derived from SerializableObject, or null. Each object is
 *   written once, however many references there are, so cycles are restored. Objects are not nested
 *   but written one after the other, so chains may have any length.
 *
 * On loading, a factory manager makes each object by the name of its class. A reference is set at
 * once, but the members of the object may be read later: `serialize` must not use the object. An
 * object to which no reference is read is made, but not read, and the serializer deletes it. A
 * factory must make a new object each time; if it returns an object again, a reference to that is
 * an error.
 *
 * The file is the same on every system and for every compiler; docs/formats/objects.md describes
 * it. Nothing in it is trusted: it ends with a check sum, lengths are compared with the bytes left,
 * and the caller limits the number of objects and the depth of nested values. Within these limits a
 * file may have chains of your objects of any length: your destructors must not overflow the stack.
 *
 * Errors: the first one is kept, with the path of its value. From then on nothing is transferred,
 * and finish returns false. After an error in saving, nothing was written to the stream, unless the
 * stream itself failed. After an error in loading, no value has changed if the file is damaged.
 * Otherwise the values before the error were read, and those behind it have not changed; a
 * container in which it happened has the items before it. A reference that was read has an object
 * of the right class, but the members of that object may not have been read, and Records have lost
 * their references.
 *
 * Memory: the whole file is in memory once. std::bad_alloc and exceptions of the classes reach the
 * caller; after that the serializer can only be destroyed.
 *
 * Threads: a serializer and all that it transfers are for one thread.
 */
#ifndef QZCORE_SERIAL_COMMONSERIALIZER_H
#define QZCORE_SERIAL_COMMONSERIALIZER_H

#include "Common/Allocator.h"
#include "Common/Factory.h"
#include "Common/SharedObject.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "IO/Stream.h"
#include "Serial/Field.h"
#include "Serial/SerializableObject.h"
#include "Serial/ValueSerializer.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

namespace Common {

namespace detail {
class Form;

/* dynamic_cast, which takes long, unless the object is of class T itself. */
template<class T>
T* castTo(Identifiable* object) {
    if constexpr (requires { static_cast<T*>(object); }) {
        if (object != nullptr && &typeid(*object) == &typeid(T)) {
            return static_cast<T*>(object);
        }
    }
    return dynamic_cast<T*>(object);
}
} // namespace detail

class QZ_API CommonSerializer : public ValueSerializer {
public:
    /* What a file may have at most. */
    struct Limits {
        std::uint64_t bytes = std::uint64_t{1} << 30;
        std::uint32_t objects = 1U << 22;
        std::uint32_t depth = 64; /* of nested values */

        /* Whether an object of a class that no factory makes is kept as a Common::Record. Otherwise
         * a reference to it is an error. Records in a cycle keep each other alive: call
         * Record::letGo for all that you can reach, and do not set this for files from untrusted
         * sources, which may have cycles through objects of your classes, too. */
        bool keepsUnknown = false;
    };

    /* How a file is saved. */
    struct Options {
        /* Whether the file has the names and the types of the fields, for tools such as qz dump.
         * This adds one description for each class and version to the file, and saving takes
         * several times as long. Programs load the file as any other; older versions of the
         * library refuse it. */
        bool namesFields = false;

        std::uint32_t depth = 64; /* of nested values; what loads the file needs as much */
    };

    /* Saves to a stream, at its position, when `finish` is called. `version` is that of the file;
     * see getVersion. */
    explicit CommonSerializer(io::Stream& out, std::uint32_t version = 0);
    CommonSerializer(io::Stream& out, std::uint32_t version, const Options& options);

    /* Loads from a stream, at its position. The constructor reads and checks the whole file; then
     * the stream's position is behind it, and the stream is not used any more. The factories
     * outlive the serializer. */
    CommonSerializer(io::Stream& in, FactoryManager& factories);
    CommonSerializer(io::Stream& in, FactoryManager& factories, const Limits& limits);

    CommonSerializer(const CommonSerializer&) = delete;
    CommonSerializer& operator=(const CommonSerializer&) = delete;

    /* Releases the objects, which deletes those that nobody else refers to. */
    ~CommonSerializer() override;

    /* Writes or reads a value. */
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
            if (hasFailed_) { /* values may contain each other and be too deep */
                return;
            }
            if constexpr (requires { value.serialize(*this); }) {
                value.serialize(*this);
            } else if constexpr (requires { serialize(*this, value); }) {
                serialize(*this, value);
            } else {
                static_assert(sizeof(T) == 0, "T has no serialize function: write one, or include "
                                              "Serial/Containers.h or Serial/MathTypes.h");
            }
        }
    }

    /* The same, for calls through RandomSerializer. */
    void transfer(std::int32_t& value) final { transferInteger(value); }

    /* The same with a name, which appears in the paths of errors and, with Options::namesFields, in
     * the file. It must be a literal. */
    template<class T>
    void transfer(const char* name, T& value) {
        const char* const outer = name_;
        name_ = name;
        transfer(value);
        name_ = outer;
    }

    /* The same for a value that exists only since a version of the class or the file. If an older
     * version is loaded, the value becomes `missing`. */
    template<class T>
    void transferSince(std::uint32_t version, const char* name, T& value,
                       const std::type_identity_t<T>& missing = {}) {
        if (!isLoading_ || version_ >= version) {
            transfer(name, value);
        } else if (isGood()) {
            value = missing;
        }
    }

    /* ---- the number of bits of a value in the forms for messages (Serial/Bufferizer.h)
     *
     * In a file they are the same as `transfer`. The name may be null. */

    /* An integer or an enumeration in `bits` bits, 1 to 64; a signed one as two's complement.
     * Writing a value that does not fit is an error. */
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

    /* A number from `lowest` to `highest`, rounded to the nearest of 2^bits - 1 equal steps; 1 to
     * 32 bits. Numbers outside become `lowest` or `highest`, and not-a-number becomes `lowest`. */
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

    /* A number in 16 bits, rounded as by Math::float2half. */
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

    /* Inside an object, the version that its class had when it was saved; nested values have the
     * version of the object around them. Outside of objects, the version of the file. In the forms
     * for messages, whose two sides have the same classes, the highest number. */
    std::uint32_t getVersion() const { return version_; }

    /* Ends saving or loading; without it nothing is saved. Saving: writes all objects that can be
     * reached by references, and then everything to the stream, which is not flushed. Loading:
     * reads the objects, and skips values that were not asked for. Returns false if there was an
     * error; further calls return the same, unless something was transferred in between, which is
     * an error. A class must not call it. */
    bool finish();

    /* Returns the fields of what was saved as a whole, and then those of each class and version,
     * after `finish` has loaded a file that names its fields. Otherwise nothing. */
    std::vector<FieldsOfClass> getFields() const;

    /* The error, with the path of the value: "world.units[17].crew: ..."; empty if there was none.
     */
    const std::string& getError() const;

    /* Sets an error, if there is none: for classes that find an invalid value. */
    void fail(const std::string& what);

    /* ---- for functions that serialize containers ---- */

    class Items; /* a value with items: Serial/Sequences.h */

    /* Writes the length of a sequence, or reads it, and returns it; 0 after an error. It is an
     * error if fewer bytes are left to read than the length times `size`. */
    std::size_t transferLength(std::size_t length, std::size_t size);

    /* Writes whether an optional value follows, or reads it. After an error `isThere` stays. */
    void transferPresence(bool& isThere) { transferBool<FieldKind::kOptional>(isThere); }

    template<class T>
    void transferReference(Ref<T>& reference) {
        if (!isLoading_) {
            if (writeReference(reference.get())) {
                introduce(*reference, dynamic_cast<SerializableObject*>(reference.get()));
            }
            return;
        }
        Identifiable* const object = readReference();
        T* const typed = detail::castTo<T>(object);
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

    /* Takes the error of a form; null means none. */
    QZ_LOCAL bool accept(const char* error) noexcept;

private:
    friend class Record;
    struct State;

    /* A value that contains the one that is being transferred. */
    struct Scope {
        Scope* outer;
        const char* name;
        std::size_t index;  /* of the item in it, from 1; 0: none */
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
            if (serializer.tellsLevels_) {
                serializer.openLevel();
            }
        }
        ~Level() {
            if (serializer_.tellsLevels_) {
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
    void transferMore(void* bytes, std::size_t size, FieldKind kind) override;
    void transferMoreOfRow(void* bytes, std::size_t size, FieldKind element) override;
    bool prepareCompact(std::uint64_t value, FieldKind kind) override;
    std::uint64_t readLongCompact(FieldKind kind) override;
    void packBool(unsigned char& byte) override;
    void failAsRange() override;

    /* The forms for messages transfer these in their own ways. Their cursor is always at the end.
     */
    void packInteger(const char* name, std::uint64_t& number, int bits, bool isSigned, int most);
    void packFixed(const char* name, double& number, double lowest, double highest, int bits);
    void packHalf(const char* name, float& number);
    QZ_LOCAL void packNumber(std::uint64_t& number, std::uint32_t kind, std::uint64_t meaning);
    QZ_LOCAL void packBytes(unsigned char* bytes, std::size_t size, std::uint64_t meaning);
    QZ_LOCAL void packReference(const Identifiable* object);
    QZ_LOCAL Identifiable* unpackReference();
    void openLevel();
    void closeLevel();

    /* For files that name their fields. Their cursor is at the end, too, while they are written. */
    bool isNaming() const { return tellsLevels_ && !isPacked_ && !hasFailed_; }
    QZ_LOCAL void putNamed(const void* bytes, std::size_t size);
    QZ_LOCAL void putNamedCompact(std::uint64_t value, FieldKind kind);
    QZ_LOCAL void saveFields();
    QZ_LOCAL void loadFields();
    QZ_LOCAL void transferFields();

    bool writeReference(const Identifiable* object); /* true if it is met for the first time */
    void introduce(const Identifiable& object, SerializableObject* serializable);
    Identifiable* readReference();
    void failAsMisfit(const Identifiable& object);
    void failAsTooDeep();

    /* The bytes and references of the record that were written, or are left to read. */
    QZ_LOCAL std::size_t usedBytes() const;
    QZ_LOCAL std::size_t used() const;
    QZ_LOCAL std::size_t left() const;

    QZ_LOCAL std::uint32_t nodeOf(Scope* scope);
    QZ_LOCAL std::string path() const;

    QZ_LOCAL void beginRecord(std::uint32_t version, std::size_t classNumber);
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
    QZ_LOCAL void loadObject(std::uint32_t index);
    QZ_LOCAL void transferRest(qz::vector<unsigned char>& bytes,
                               qz::vector<Ref<Identifiable>>& references);

    bool tellsLevels_ = false; /* to a form for messages, or to what learns the names */
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

#include "Serial/Sequences.h" /* a part of this header that needs the class */

#endif

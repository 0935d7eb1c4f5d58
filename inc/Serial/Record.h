/* Objects of classes that this program does not know. C++ only, for programs built by the library's
 * compiler. */
#ifndef QZCORE_SERIAL_RECORD_H
#define QZCORE_SERIAL_RECORD_H

#include "Common/Allocator.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "Serial/CommonSerializer.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace Common {

/* The contents of a file for one object: the name and the version of its class, its bytes, and the
 * objects to which it refers. With `keepsUnknown` in its limits, a loading serializer makes a
 * record for each object that no factory can make. Saving a record writes the same contents again,
 * references included. Only a Ref to Common::Record or one of its bases can refer to it. */
class QZ_API Record final : public SerializableObject {
public:
    Record(const Identifier& className, std::uint32_t version, std::uint32_t number = 0)
        : SerializableObject(className), version_(version), number_(number) {}
    ~Record() override;

    std::uint32_t getVersion() const override { return version_; }

    /* The number of the object in the file from which it was loaded. Objects are numbered from 1,
     * in the order of the first references to them. 0 if it was not loaded. */
    std::uint32_t getNumber() const { return number_; }

    std::span<const unsigned char> getBytes() const { return bytes_; }

    /* The references in the order of the file; some may be null. */
    std::span<const Ref<Identifiable>> getReferences() const { return references_; }

    /* Releases its references. Use it for records that keep each other alive in a cycle. */
    void letGo() { references_.clear(); }

    void serialize(CommonSerializer& serializer) override;

private:
    /* The object of its last reference, if that is a record with references that nobody else holds.
     */
    QZ_LOCAL Record* lastHeldHereAlone() const;

    std::uint32_t version_;
    std::uint32_t number_;
    Record* above_ = nullptr; /* used while a chain of records is deleted */
    qz::vector<unsigned char> bytes_;
    qz::vector<Ref<Identifiable>> references_;
};

} // namespace Common

#endif

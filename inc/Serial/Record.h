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

/* What a file has of one object: the name and the version of its class, its bytes, and the objects
 * to which it refers. A loading serializer whose limits say `keepsUnknown` makes one for each
 * object that no factory can make; saved again, it is what it was, references included. A reference
 * that is to lead to one is a Ref to Common::Record or one of its bases. */
class QZ_API Record final : public SerializableObject {
public:
    Record(const Identifier& className, std::uint32_t version, std::uint32_t number = 0)
        : SerializableObject(className), version_(version), number_(number) {}
    ~Record() override;

    std::uint32_t getVersion() const override { return version_; }

    /* By which the file that it was loaded from refers to it: objects count from 1, in the order in
     * which they are referred to first. 0 if it was not loaded. */
    std::uint32_t getNumber() const { return number_; }

    std::span<const unsigned char> getBytes() const { return bytes_; }

    /* In the order of the file; some may be null. */
    std::span<const Ref<Identifiable>> getReferences() const { return references_; }

    /* Gives up its references, where they make a cycle that would keep itself alive. */
    void letGo() { references_.clear(); }

    void serialize(CommonSerializer& serializer) override;

private:
    /* What its last reference leads to, if that is a record with references and nobody else's. */
    QZ_LOCAL Record* lastHeldHereAlone() const;

    std::uint32_t version_;
    std::uint32_t number_;
    Record* above_ = nullptr; /* on the way down a chain that is taken apart */
    qz::vector<unsigned char> bytes_;
    qz::vector<Ref<Identifiable>> references_;
};

} // namespace Common

#endif

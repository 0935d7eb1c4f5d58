/* What can be referred to from what is saved. C++ only, for programs built by the library's
 * compiler.
 */
#ifndef QZCORE_SERIAL_SERIALIZABLEOBJECT_H
#define QZCORE_SERIAL_SERIALIZABLEOBJECT_H

#include "Common/SharedObject.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <cstdint>

namespace Common {

class CommonSerializer;

/* An object that can be referred to from what is saved. It lives on the heap: the last reference
 * deletes it. */
class QZ_API SerializableObject : public Identifiable {
public:
    using Identifiable::Identifiable;
    ~SerializableObject() override;

    /* Transfers what belongs to the object. It is saved under its class identifier
     * (getClassIdentifier), of at most 255 bytes, which a factory has to know when it is loaded. */
    virtual void serialize(CommonSerializer& serializer) = 0;

    /* What the class writes now. Raise it when values are added or change, and read older ones by
     * transferSince and CommonSerializer::getVersion. Values that are added at the end need no more
     * than that: older programs skip them. */
    virtual std::uint32_t getVersion() const { return 0; }
};

} // namespace Common

#endif

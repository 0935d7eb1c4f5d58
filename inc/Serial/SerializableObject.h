/* The base of objects that can be saved by reference. C++ only, for programs built by the library's
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

/* An object that can be saved by reference. It lives on the heap: the last reference deletes it. */
class QZ_API SerializableObject : public Identifiable {
public:
    using Identifiable::Identifiable;
    ~SerializableObject() override;

    /* Transfers the members of the object. It is saved under its class identifier
     * (getClassIdentifier), of at most 255 bytes, which a factory has to list when it is loaded. */
    virtual void serialize(CommonSerializer& serializer) = 0;

    /* Returns the version of the values that the class writes. Raise it when values are added or
     * change, and read older versions with transferSince and CommonSerializer::getVersion. Older
     * programs skip values that are added at the end. */
    virtual std::uint32_t getVersion() const { return 0; }
};

} // namespace Common

#endif

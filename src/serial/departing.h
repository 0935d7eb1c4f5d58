// Holds objects that no state has any more, until they are released.
#pragma once

#include "Serial/CommonSerializer.h"
#include "serial/image.h"

#include <cstddef>
#include <cstdint>

namespace serial {

using ObjectRef = Common::Ref<Common::SerializableObject>;

// An object that is released releases the objects that it refers to, recursively. The sender
// chooses the length of such a chain, which would be the depth of the stack. So all departing
// objects are held here, and each is released before those that it refers to.
class Departing {
public:
    // Keeps an object with its number and last image. If the image is null, `serialize` is called
    // to find the object's references. Without memory the object is left to the caller.
    void take(const ObjectRef& object, std::uint32_t number, const ImagePtr& image) noexcept;

    // Releases all objects, and those that destructors hand over meanwhile. The list is empty while
    // destructors run, so they may use the owner.
    void release() noexcept {
        while (!objects_.empty()) {
            releaseAll();
        }
    }

private:
    struct Object {
        ObjectRef object;
        std::uint32_t number;
        ImagePtr image;
    };
    using Objects = qz::vector<Object>;

    void releaseAll() noexcept;
    static void releaseInOrder(Objects& objects);

    Objects objects_;
};

} // namespace serial

// Objects that no state has any more, until they are released.
#pragma once

#include "Serial/CommonSerializer.h"
#include "serial/image.h"

#include <cstddef>
#include <cstdint>

namespace serial {

using ObjectRef = Common::Ref<Common::SerializableObject>;

// Releasing an object releases those to which it refers, one within the other: the length of a
// chain is the sender's choice, and would be the depth of the stack. So all that go are held
// together, and an object is released before those to which it refers.
class Departing {
public:
    // Under which number the object was and what it had been; if that is null, the object is asked
    // for those to which it refers, by `serialize`. Without memory it is released now.
    void take(const ObjectRef& object, std::uint32_t number, const ImagePtr& image) noexcept;

    // What destructors do to the owner, further objects to be taken included, comes when nothing is
    // held here any more.
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

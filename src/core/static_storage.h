// Room for one object that lives from the loading of the library to its unloading, or for ever.
#pragma once

#include <memory>
#include <new>
#include <utility>

namespace core {

// The composition root has the object made and, unless it lives for ever, destroyed. So no file has
// an initialiser that could run too late, whatever order the files are linked in, and no exit
// handler takes the object away from threads that still use it. A reference in static storage may
// be bound to the bytes beforehand, with reinterpret_cast.
template<class Object>
struct StaticStorage {
    template<class... Arguments>
    void make(Arguments&&... arguments) {
        ::new (bytes) Object(std::forward<Arguments>(arguments)...);
    }

    void destroy() { std::destroy_at(&object()); }

    Object& object() { return *std::launder(reinterpret_cast<Object*>(bytes)); }

    alignas(Object) unsigned char bytes[sizeof(Object)];
};

} // namespace core

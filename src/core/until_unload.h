// Objects that are made on first use and live until the library is unloaded.
//
// A function-local static would die too early. When a process ends, statics are destroyed in the
// reverse order of their making. One that was made after a host's static objects would die before
// them, and their destructors could not use the library any more.
#pragma once

#include <memory>

namespace core {

using Deleter = void (*)(void* object);

// Has deleter(object) called when the library is unloaded, after which nobody uses the object.
void deleteAtUnload(void* object, Deleter deleter);

// Calls all deleters, the last first; for src/library.cpp.
void deleteObjectsAtUnload();

// Registers an object with deleteAtUnload; meant to initialise a function-local static reference.
// Without memory for that it deletes the object and throws std::bad_alloc.
template<class Object>
Object& untilUnload(Object* object) {
    std::unique_ptr<Object> owned(object);
    deleteAtUnload(object, [](void* pointer) { delete static_cast<Object*>(pointer); });
    return *owned.release();
}

} // namespace core

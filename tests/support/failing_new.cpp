#include "support/failing_new.h"

#include <cstdlib>
#include <new>

namespace {

constexpr int kNever = -1;

thread_local int left = kNever; // allocations before the one that fails
thread_local bool doesRepeat = false;
thread_local bool failed = false;

bool isToFail() {
    if (left == kNever) {
        return false;
    }
    if (left > 0) {
        --left;
        return false;
    }
    failed = true;
    left = doesRepeat ? 0 : kNever;
    return true;
}

void* allocate(std::size_t size, std::size_t alignment) noexcept {
    if (isToFail()) {
        return nullptr;
    }
    const std::size_t rounded = (size + alignment) / alignment * alignment; // never 0
    return alignment > __STDCPP_DEFAULT_NEW_ALIGNMENT__ ? std::aligned_alloc(alignment, rounded)
                                                        : std::malloc(rounded);
}

void* allocateOrThrow(std::size_t size, std::size_t alignment) {
    if (void* const memory = allocate(size, alignment)) {
        return memory;
    }
    throw std::bad_alloc();
}

} // namespace

qz::test::FailingNew::FailingNew(int count, How how) {
    failed = false;
    doesRepeat = how == How::fromThenOn;
    left = count;
}

qz::test::FailingNew::~FailingNew() {
    left = kNever;
}

bool qz::test::FailingNew::hasFailed() const {
    return failed;
}

// The C++ library's other forms call these; the sanitizers' do not.
void* operator new(std::size_t size) {
    return allocateOrThrow(size, 1);
}

void* operator new[](std::size_t size) {
    return allocateOrThrow(size, 1);
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size, 1);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size, 1);
}

void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, static_cast<std::size_t>(alignment));
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}

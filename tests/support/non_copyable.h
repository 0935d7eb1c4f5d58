// What undoes in its destructor what it did, and so must not be copied.
#pragma once

namespace qz::test {

class NonCopyable {
public:
    NonCopyable() = default;
    NonCopyable(const NonCopyable&) = delete;
    NonCopyable& operator=(const NonCopyable&) = delete;
};

} // namespace qz::test

// A base for classes whose destructor undoes what the constructor did.
#pragma once

namespace qz::test {

class NonCopyable {
public:
    NonCopyable() = default;
    NonCopyable(const NonCopyable&) = delete;
    NonCopyable& operator=(const NonCopyable&) = delete;
};

} // namespace qz::test

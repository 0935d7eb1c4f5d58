// Memory that runs out on purpose. Programs that link failing_new.cpp get an operator new that can
// fail, in place of the C++ library's, and on Linux so do the libraries that they use.
#pragma once

namespace qz::test {

// While it lives, one allocation of its thread fails: the one after `count` others; or all that
// follow that one too.
class FailingNew {
public:
    enum class How { once, fromThenOn };

    explicit FailingNew(int count, How how = How::once);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;

    bool hasFailed() const;
};

} // namespace qz::test

#include "input.h"

#include "failure.h"

#include <limits>

namespace {

void requireGood(const platform::Input& input, const std::string& name) {
    if (input.error() != 0) {
        throw Failure(name + ": cannot be read: " + reasonOf(input.error(), name));
    }
}

platform::Input open(const std::string& name) {
    return name == kStandardStreams ? platform::Input() : platform::Input(name.c_str());
}

} // namespace

std::string reasonOf(platform::SystemError error, const std::string& name) {
    if (platform::leadsToDevice(name.c_str())) {
        return "is a device";
    }
    switch (name == kStandardStreams ? platform::PathKind::file
                                     : platform::pathKind(name.c_str())) {
    case platform::PathKind::missing:
        return "there is no such file";
    case platform::PathKind::directory:
        return "is a directory";
    case platform::PathKind::file:
        break;
    }
    char text[256];
    platform::systemErrorText(error, text, sizeof text);
    return text;
}

std::string readWhole(const std::string& name) {
    constexpr std::size_t kMostBytes = std::numeric_limits<int>::max();
    platform::Input input = open(name);
    std::string bytes;
    input.readToEnd(bytes, kMostBytes);
    requireGood(input, name);
    if (bytes.size() > kMostBytes) {
        throw Failure(name + ": has more than 2 GiB");
    }
    return bytes;
}

InputStream::InputStream(const std::string& name) : name_(name), input_(open(name)) {
    check();
}

void InputStream::check() const {
    requireGood(input_, name_);
}

std::size_t InputStream::readAt(std::uint64_t /*position*/, void* data, std::size_t count) {
    const std::size_t done = input_.read(data, count);
    if (input_.error() != 0) {
        fail("cannot be read");
    }
    return done;
}

// Whatever can be read, by its name; "-" is standard input.
#pragma once

#include "platform/input.h"

#include "IO/Stream.h"

#include <cstddef>
#include <string>

inline constexpr char kStandardStreams[] = "-";

// Why a file could not be read or replaced, in its own words where the system's are riddles.
std::string reasonOf(platform::SystemError error, const std::string& name);

// All of it. Throws Failure, also if these are more than 2 GiB.
std::string readWhole(const std::string& name);

// From the beginning to the end, for those who may have enough before.
class InputStream final : public io::Stream {
public:
    // Throws Failure.
    explicit InputStream(const std::string& name);

    // The same if reading has failed.
    void check() const;

protected:
    std::size_t readAt(std::uint64_t position, void* data, std::size_t count) override;
    std::uint64_t sizeNow() override { return 0; } // which nobody knows

private:
    std::string name_;
    platform::Input input_;
};

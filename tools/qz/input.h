// Reads files, pipes and standard input by name; "-" is standard input.
#pragma once

#include "platform/input.h"

#include "IO/Stream.h"

#include <cstddef>
#include <string>

inline constexpr char kStandardStreams[] = "-";

// Why a file could not be read or replaced; in its own words where the system's text is unclear.
std::string reasonOf(platform::SystemError error, const std::string& name);

// All bytes. Throws Failure, also for more than 2 GiB.
std::string readWhole(const std::string& name);

// A stream from the beginning to the end, for readers that may stop early.
class InputStream final : public io::Stream {
public:
    // Throws Failure.
    explicit InputStream(const std::string& name);

    // Throws Failure if reading has failed.
    void check() const;

protected:
    std::size_t readAt(std::uint64_t position, void* data, std::size_t count) override;
    std::uint64_t sizeNow() override { return 0; } // the size is not known

private:
    std::string name_;
    platform::Input input_;
};

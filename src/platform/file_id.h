// Which file a handle was opened for.
#pragma once

#include <cstdint>

namespace platform {

// A host may close all its descriptors, as daemons do. A file that it opens then can get the number
// that the library still uses: without this look the library would write to that file or close it.
// On Windows nobody closes handles that way, and every look says yes.
class FileId {
public:
    FileId() = default;
    explicit FileId(std::intptr_t handle);

    // Whether the handle is still open for the file; yes if the system does not say. Allocates
    // nothing.
    bool isOf(std::intptr_t handle) const;

    bool operator==(const FileId&) const = default;

private:
    std::uint64_t device_ = 0;
    std::uint64_t number_ = 0; // 0 if not known
};

} // namespace platform

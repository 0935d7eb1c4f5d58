// A file in memory as a test wants it.
#pragma once

#include "VFS/File.h"
#include "support/test.h"

namespace qz::test {

// A file in memory that counts the accesses.
struct MemoryFile : VFS_File {
    explicit MemoryFile(std::string contents = {}) : VFS_File{&kOps}, bytes(std::move(contents)) {}

    std::string bytes;
    std::size_t position = 0;
    int accesses = 0;
    bool fails = false;
    std::string more; // what another program adds when a reader has met the end

    static const VFS_FileOps kOps;
};

inline MemoryFile& of(VFS_File* file) {
    return *static_cast<MemoryFile*>(file);
}

inline const VFS_FileOps MemoryFile::kOps = {
    [](VFS_File*) {},
    [](VFS_File* file, void* buffer, std::size_t count) {
        MemoryFile& self = of(file);
        ++self.accesses;
        if (self.fails) {
            return std::numeric_limits<std::size_t>::max();
        }
        const std::size_t start = std::min(self.position, self.bytes.size());
        const std::size_t done = self.bytes.copy(static_cast<char*>(buffer), count, start);
        self.position += done;
        self.bytes += std::exchange(self.more, "");
        return done;
    },
    [](VFS_File* file, const void* buffer, std::size_t count) {
        ++of(file).accesses;
        of(file).bytes.append(static_cast<const char*>(buffer), count);
        return count;
    },
    [](VFS_File* file, std::int64_t to) {
        // Refuses positions that are too far, as some systems do.
        const bool reaches = to >= 0 && to <= std::int64_t{1} << 44;
        of(file).position = reaches ? static_cast<std::size_t>(to) : of(file).position;
        return reaches ? 1 : 0;
    },
    [](VFS_File* file) { return static_cast<std::int64_t>(of(file).position); },
    [](VFS_File* file) { return static_cast<std::int64_t>(of(file).bytes.size()); },
};

} // namespace qz::test

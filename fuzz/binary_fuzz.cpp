// Any bytes as a file of records: the readers end, stay within their buffers, only move forwards,
// and read what the writers write.
#include "require.h"

#include "VFS/Binary.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace {

// A file in memory.
struct MemoryFile {
    VFS_File base{&kOps};
    std::vector<std::uint8_t> bytes;
    std::int64_t position = 0;

    static MemoryFile& of(VFS_File* file) { return *reinterpret_cast<MemoryFile*>(file); }

    static std::size_t read(VFS_File* file, void* buffer, std::size_t count) {
        MemoryFile& self = of(file);
        const auto start = std::min(static_cast<std::size_t>(self.position), self.bytes.size());
        const std::size_t done = std::min(count, self.bytes.size() - start);
        if (done > 0) {
            std::memcpy(buffer, self.bytes.data() + start, done);
        }
        self.position += static_cast<std::int64_t>(done);
        return done;
    }

    static std::size_t write(VFS_File* file, const void* buffer, std::size_t count) {
        const auto* first = static_cast<const std::uint8_t*>(buffer);
        std::vector<std::uint8_t>& bytes = of(file).bytes;
        bytes.insert(bytes.end(), first, first + count);
        return count;
    }

    static int seek(VFS_File* file, std::int64_t to) {
        require(to >= of(file).position);
        of(file).position = to;
        return 1;
    }

    static std::int64_t tell(VFS_File* file) { return of(file).position; }

    static std::int64_t getSize(VFS_File* file) {
        return static_cast<std::int64_t>(of(file).bytes.size());
    }

    static constexpr VFS_FileOps kOps = {nullptr, read, write, seek, tell, getSize};
};

void checkNumber(MemoryFile& in) {
    const std::uint64_t value = VFS_get_mbint(&in.base);
    MemoryFile again;
    VFS_put_mbint(&again.base, value);
    require(again.bytes.size() <= 10 && VFS_get_mbint(&again.base) == value);
}

void checkString(MemoryFile& in, std::size_t size) {
    const std::unique_ptr<char[]> buffer(new char[size]);
    const std::uint64_t length = VFS_get_string(&in.base, buffer.get(), size);
    if (size > 0) {
        require(strnlen(buffer.get(), size) <= std::min<std::uint64_t>(length, size - 1));
    }
}

} // namespace

// The input: a byte for each item, with its type and its room; 0xFF; and the file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
    const std::uint8_t* const end = data + length;
    const std::uint8_t* const contents = std::find(data, end, 0xFF);
    MemoryFile in;
    in.bytes.assign(std::min(contents + 1, end), end);
    for (const std::uint8_t* what = data; what != contents; ++what) {
        const std::int64_t before = in.position;
        switch (*what % 6) {
        case 0:
            VFS_get_uint8(&in.base);
            break;
        case 1:
            VFS_get_uint16(&in.base);
            break;
        case 2:
            VFS_get_uint32(&in.base);
            break;
        case 3:
            VFS_get_uint64(&in.base);
            break;
        case 4:
            checkNumber(in);
            break;
        default:
            checkString(in, *what / 6);
        }
        require(in.position >= before);
    }
    return 0;
}

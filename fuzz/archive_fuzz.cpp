// Any bytes as an archive: mounting it and reading from it end with data or an error, and leave no
// file open. PhysicsFS and zlib are not instrumented; the fuzzer explores the library's own reader
// of archives. An archive that crashes PhysicsFS or zlib is also a finding.
// tests/vfs/make_archives.py makes archives to start from.
#include "require.h"

#include "IO/FileStream.h"
#include "VFS/Archive.h"

#define QZ_LOG_NO_SHORT_NAMES
#include "Core/Log.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

// A file that is only in memory.
class UnnamedFile {
public:
    UnnamedFile() : file_(memfd_create("archive", MFD_CLOEXEC)) { require(file_ >= 0); }

    std::string path() const { return "/proc/self/fd/" + std::to_string(file_); }

    void fill(const std::uint8_t* data, std::size_t length) const {
        require(ftruncate(file_, 0) == 0);
        require(pwrite(file_, data, length, 0) == static_cast<ssize_t>(length));
    }

private:
    int file_;
};

const UnnamedFile& archive() {
    static const UnnamedFile file;
    return file;
}

// A stream must read the same bytes, also if it reads the last ones first.
void readAsStream(const std::string& name, const void* bytes, std::uint64_t size) {
    io::MountedStream stream(name.c_str());
    std::string last(size / 2, 0);
    require(stream.size() == size && stream.seek(size - last.size()));
    require(stream.read(last.data(), last.size()) == last.size());
    const auto* const whole = static_cast<const char*>(bytes);
    require(last.compare(0, last.size(), whole + (size - last.size()), last.size()) == 0);
    require(stream.seek(0) && io::readRest(stream, last));
    require(last.size() == size && std::memcmp(last.data(), whole, size) == 0);
}

void readAndFree(const std::string& name) {
    std::uint64_t size = 1;
    void* buffer = vfs_read_file(name.c_str(), &size);
    require((buffer == nullptr) == (size == 0));
    if (buffer != nullptr) {
        readAsStream(name, buffer, size);
    }
    vfs_free_file_buffer(buffer);
}

// Reads the entries of all records found anywhere in the bytes.
void readEntries(const std::string& bytes) {
    constexpr std::size_t kHeaderSize = 46;
    constexpr std::size_t kNameLength = 28;
    for (std::size_t at = 0; (at = bytes.find("PK\1\2", at)) != std::string::npos; ++at) {
        if (at + kHeaderSize < bytes.size()) {
            readAndFree(
                bytes.substr(at + kHeaderSize, static_cast<std::uint8_t>(bytes[at + kNameLength])));
        }
    }
}

// Listing a folder of a malicious archive may fail, but then lists nothing.
void readListed(const std::string& folder, int depth) {
    std::vector<std::string> names;
    const auto add = [](void* context, const char* name) {
        static_cast<std::vector<std::string>*>(context)->emplace_back(name);
    };
    const int result = vfs_list(folder.c_str(), add, &names);
    require(result == 1 || names.empty());
    for (const std::string& name : names) {
        const std::string path = folder + "/" + name;
        const vfs_kind kind = vfs_get_kind(path.c_str(), nullptr);
        require(kind != VFS_KIND_UNKNOWN);
        if (kind == VFS_KIND_FILE) {
            readAndFree(path);
        } else if (kind == VFS_KIND_DIRECTORY && depth > 0) {
            readListed(path, depth - 1);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The log checks at its start where standard error leads. On the null device it echoes nothing,
    // and does not hide the lines of the fuzzer.
    const int kept = dup(STDERR_FILENO);
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(null, STDERR_FILENO);
    qz_log_start(".", nullptr);
    dup2(kept, STDERR_FILENO);
    close(null);
    close(kept);
    vfs_init();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
    archive().fill(data, length);
    const std::string path = archive().path();
    if (vfs_mount(path.c_str(), "/", 1) != 0) {
        readEntries({reinterpret_cast<const char*>(data), length});
        readListed("", 8);
        require(vfs_unmount(path.c_str()) != 0);
    }
    return 0;
}

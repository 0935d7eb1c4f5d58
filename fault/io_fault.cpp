// Streams: a replaced file has all that was written or nothing of it, and reading gives the file's
// contents.
#include "driver.h"

#include "IO/FileStream.h"
#include "IO/MemoryStream.h"
#include "VFS/Archive.h"

#include <string>

namespace {

const std::string kOld(30'000, 'o');
const std::string kNew(50'000, 'n');
constexpr char kPath[] = "replaced";

bool hasContents(const std::string& bytes) {
    const Aside aside;
    return readFile(kPath) == bytes;
}

void replace() {
    {
        const Aside aside;
        writeFile(kPath, kOld);
    }
    io::FileStream file(kPath, io::FileStream::Mode::kReplace);
    if (step(file.isOpen(), "opening for replacement")) {
        for (std::size_t at = 0; at < kNew.size(); at += 1000) {
            file.write(kNew.data() + at, 1000);
        }
        const bool isReplaced = step(file.close(), "replacing");
        whole(hasContents(isReplaced ? kNew : kOld), "neither the old nor the new contents");
    }
    {
        const Aside aside;
        writeFile(kPath, kNew);
    }
}

void read(io::Stream& stream, const std::string& expected) {
    std::string bytes;
    bool isWhole = false;
    stepOrThrow<std::bad_alloc>("reading", [&] { isWhole = io::readRest(stream, bytes); });
    step(isWhole, "readRest");
    holds(expected.starts_with(bytes) && (!isWhole || bytes.size() == expected.size()),
          "other bytes were read");
}

void remember() {
    io::MemoryStream memory;
    const bool isWritten = step(memory.write(kNew.data(), kNew.size()) == kNew.size(), "memory");
    holds(memory.bytes().size() == (isWritten ? kNew.size() : 0), "bytes in memory");
    Mail::Message message(1);
    stepOrThrow<std::bad_alloc>("MessageStream", [&] {
        io::MessageStream stream(message);
        stream.write(kNew.data(), kNew.size());
        step(stream.flush(), "a message");
    });
    holds(message.getSize() == 0 || message.getSize() == kNew.size(), "a part of a message");
}

} // namespace

void prepare() {}

void work() {
    replace();
    io::FileStream file(kPath, io::FileStream::Mode::kRead);
    if (step(file.isOpen(), "opening")) {
        read(file, kNew);
    }
    remember();
    vfs_init();
    if (step(vfs_mount(".", "/", 0) != 0, "vfs_mount")) {
        io::MountedStream mounted(kPath);
        if (step(mounted.isGood(), "opening a mounted file")) {
            read(mounted, kNew);
        }
    }
    vfs_deinit();
}

void finish() {}

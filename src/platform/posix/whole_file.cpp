#include "platform/whole_file.h"

#include "platform/posix/descriptor.h"
#include "platform/posix/path.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

namespace platform {

namespace {

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool isOpen() const { return number_ >= 0; }
    int number() const { return number_; }

    // Some file systems tell only now what they could not write.
    bool close() {
        const int number = std::exchange(number_, -1);
        return number < 0 || ::close(number) == 0 || errno == EINTR;
    }

private:
    int number_;
};

// Where a chain of links ends; the path itself if nothing is there yet.
std::string followLinks(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr),
                                                               std::free);
    return resolved == nullptr ? path : resolved.get();
}

// A link that leads nowhere could be replaced, but not followed.
bool isLink(const std::string& path) {
    struct stat found {};
    return lstat(path.c_str(), &found) == 0 && S_ISLNK(found.st_mode);
}

// A new file with a name of its own in the directory of another, where it can take its place.
Descriptor createBeside(const std::string& path, mode_t mode, std::string& name) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        name = path + "." + std::to_string(getpid()) + "-" + std::to_string(attempt) + ".tmp";
        const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (file >= 0 || errno != EEXIST) {
            return Descriptor(file);
        }
    }
    return Descriptor(-1);
}

// Owner and permissions of the file that is replaced. Another owner's is given away where that is
// allowed, and otherwise becomes one's own.
bool takeOver(int file, const struct stat& old) {
    if (fchown(file, old.st_uid, old.st_gid) != 0 && errno != EPERM) {
        return false;
    }
    return fchmod(file, (old.st_mode & 07777) | S_IRUSR | S_IWUSR) == 0;
}

// So that the new name survives a power cut; the contents are safe either way.
void syncDirectoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.isOpen()) {
        fsync(opened.number());
    }
}

} // namespace

bool replaceContents(const char* path, std::string_view bytes) {
    const std::string target = followLinks(nativePath(path));
    struct stat old {};
    const bool exists = stat(target.c_str(), &old) == 0;
    if (exists ? !S_ISREG(old.st_mode) : isLink(target)) {
        return false;
    }
    // Nobody may read meanwhile what only some could read before.
    constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
    constexpr mode_t kAsUsual = 0666;
    std::string name;
    Descriptor file = createBeside(target, exists ? kOwnerOnly : kAsUsual, name);
    if (!file.isOpen()) {
        return false;
    }
    const bool isReplaced =
        writeAll(file.number(), bytes) && (!exists || takeOver(file.number(), old)) &&
        fsync(file.number()) == 0 && file.close() && std::rename(name.c_str(), target.c_str()) == 0;
    if (isReplaced) {
        syncDirectoryOf(target);
    } else {
        unlink(name.c_str());
    }
    return isReplaced;
}

} // namespace platform

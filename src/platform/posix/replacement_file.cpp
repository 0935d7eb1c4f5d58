#include "platform/posix/replacement_file.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cstdio>

namespace platform {

namespace {

// Stands behind the beginning of the replaced file's name, which is cut so that everything fits.
constexpr char kMark[] = ".qzsave-";
constexpr int kMostOfName = 200;

constexpr int kMostNumbers = 10'000;

using Name = char[NAME_MAX + 1];

// The numbers begin with 0 for each file, so that a look at a few names finds what was left behind:
// to list a large directory takes long.
void writeTemporaryName(Name& text, const char* name, int number) {
    std::snprintf(text, sizeof text, "%.*s%s%d", kMostOfName, name, kMark, number);
}

// The lock belongs to the open file; the kernel releases it when the process dies.
bool lock(int file) {
    return uninterrupted([&] { return flock(file, LOCK_EX | LOCK_NB); }) == 0;
}

// False if another process took the file for an abandoned one before it was locked.
bool claim(int file) {
    struct stat status {};
    return lock(file) ? fstat(file, &status) != 0 || status.st_nlink != 0 : errno != EWOULDBLOCK;
}

// Compares under the lock: nobody else can give the name to another file from then on. False if
// there is no such file, or the system cannot open it for want of a descriptor.
bool removeIfAbandoned(int directory, const char* name) {
    const Descriptor file(
        openat(directory, name, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen()) {
        return errno == EACCES;
    }
    struct stat opened {};
    struct stat named {};
    if (lock(file.number()) && fstat(file.number(), &opened) == 0 &&
        fstatat(directory, name, &named, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(opened.st_mode) &&
        opened.st_ino == named.st_ino && opened.st_dev == named.st_dev) {
        unlinkat(directory, name, 0);
    }
    return true;
}

} // namespace

ReplacementFile::~ReplacementFile() {
    if (temporaryName_[0] != 0 && maker_ == getpid()) {
        unlinkat(directory_, temporaryName_, 0);
    }
}

bool ReplacementFile::create(mode_t mode) {
    for (int number = 0; number < kMostNumbers; ++number) {
        writeTemporaryName(temporaryName_, name_, number);
        file_ = Descriptor(aboveStandardStreams(uninterrupted([&] {
            return openat(directory_, temporaryName_, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                          mode);
        })));
        if (file_.isOpen() ? claim(file_.number()) : errno != EEXIST) {
            break;
        }
        file_ = Descriptor();
    }
    if (!file_.isOpen()) {
        temporaryName_[0] = 0;
    }
    return file_.isOpen();
}

bool ReplacementFile::takePlace() {
    if (renameat(directory_, temporaryName_, directory_, name_) != 0) {
        return false;
    }
    temporaryName_[0] = 0;
    flock(file_.number(), LOCK_UN); // closing is not enough if a child forked meanwhile has it open
    return true;
}

void ReplacementFile::removeAbandoned(int directory, const char* name) {
    constexpr int kMostFree = 4; // so many free numbers in a row are the end
    int free = 0;
    for (int number = 0; free < kMostFree && number < kMostNumbers; ++number) {
        Name temporary;
        writeTemporaryName(temporary, name, number);
        free = removeIfAbandoned(directory, temporary) ? 0 : free + 1;
    }
}

} // namespace platform

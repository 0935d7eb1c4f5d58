#include "platform/posix/replacement_file.h"

#include "platform/temporary_name.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>

namespace platform {

namespace {

// Stands behind the beginning of the replaced file's name, which is cut so that everything fits.
constexpr char kMark[] = ".qzsave-";
constexpr int kMostOfName = 200;

using Name = char[NAME_MAX + 1];

// The part that all temporary names of a file have in common.
void writeCommonName(Name& text, const char* name) {
    std::snprintf(text, sizeof text, "%.*s%s", kMostOfName, name, kMark);
}

void writeTemporaryName(Name& text, const char* name) {
    static constinit std::atomic<unsigned int> count{0};
    writeCommonName(text, name);
    const std::size_t length = std::strlen(text);
    std::snprintf(text + length, sizeof text - length, "%ld-%u", static_cast<long>(getpid()),
                  count.fetch_add(1, std::memory_order_relaxed));
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

// Compares under the lock: nobody else can give the name to another file from then on.
void removeIfAbandoned(int directory, const char* name) {
    const Descriptor file(
        openat(directory, name, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    struct stat opened {};
    struct stat named {};
    if (file.isOpen() && lock(file.number()) && fstat(file.number(), &opened) == 0 &&
        fstatat(directory, name, &named, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(opened.st_mode) &&
        opened.st_ino == named.st_ino && opened.st_dev == named.st_dev) {
        unlinkat(directory, name, 0);
    }
}

} // namespace

ReplacementFile::~ReplacementFile() {
    if (temporaryName_[0] != 0) {
        unlinkat(directory_, temporaryName_, 0);
    }
}

bool ReplacementFile::create(mode_t mode) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        writeTemporaryName(temporaryName_, name_);
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
    const int listed = openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(listed < 0 ? nullptr : fdopendir(listed),
                                                      closedir);
    if (!entries) {
        if (listed >= 0) {
            close(listed);
        }
        return;
    }
    Name common;
    writeCommonName(common, name);
    const std::size_t length = std::strlen(common);
    while (const dirent* entry = readdir(entries.get())) {
        if (std::strncmp(entry->d_name, common, length) == 0 &&
            isTemporaryEnd(entry->d_name + length)) {
            removeIfAbandoned(directory, entry->d_name);
        }
    }
}

} // namespace platform

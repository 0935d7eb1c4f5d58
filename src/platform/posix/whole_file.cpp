#include "platform/whole_file.h"

#include "platform/posix/access_list.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/own_path.h"
#include "platform/posix/path.h"
#include "platform/posix/replacement_file.h"
#include "platform/posix/target_file.h"
#include "platform/posix/write_signals.h"
#include "platform/save_turn.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

namespace platform {

namespace {

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
constexpr mode_t kAsUsual = 0666;

bool giveOwner(const struct stat& old, int file) {
    struct stat now {};
    const bool isSame =
        fstat(file, &now) == 0 && now.st_uid == old.st_uid && now.st_gid == old.st_gid;
    return isSame || fchown(file, old.st_uid, old.st_gid) == 0;
}

// Gives the new file the owner, access list and permissions of the replaced one.
bool takeOver(const TargetFile& target, int file) {
    const struct stat& old = target.status();
    return giveOwner(old, file) && copyAccessList(target, file) &&
           fchmod(file, (old.st_mode & 07777) | kOwnerOnly) == 0;
}

// The errors of a directory or mount that may still let the file itself be written.
bool isRefusal(SystemError error) {
    constexpr int kRefusals[] = {EACCES, EPERM, EROFS, EBUSY, EXDEV};
    return std::find(std::begin(kRefusals), std::end(kRefusals), static_cast<int>(error)) !=
           std::end(kRefusals);
}

// Makes the new file, with the owner and permissions of the target if that exists.
Replacement makeBeside(const TargetFile& target, ReplacementFile& file) {
    // Until takeOver() nobody else may read what only some could read before.
    if (!file.create(target.exists() ? kOwnerOnly : kAsUsual)) {
        return {lastError(), false};
    }
    if (target.exists() && !takeOver(target, file.number())) {
        return {EPERM, true};
    }
    return {};
}

SystemError takePlace(const TargetFile& target, ReplacementFile& file) {
    if (uninterrupted([&] { return fsync(file.number()); }) != 0 || !file.takePlace()) {
        return lastError();
    }
    fsync(target.directory()); // so that the name survives a power cut; the contents do already
    return 0;
}

Replacement replaceByNewFile(const TargetFile& target, std::string_view bytes) {
    ReplacementFile file(target.directory(), target.name());
    if (const Replacement made = makeBeside(target, file); !made) {
        return made;
    }
    return {writeAll(file.number(), bytes) ? takePlace(target, file) : lastError(), true};
}

// Reserves room for everything that is to be written. 0 is success, or that nobody can reserve
// room.
int makeRoom(int file, std::size_t size) {
    const int error = reserveRoom(file, static_cast<off_t>(size));
    return reservesNone(error) ? 0 : error;
}

bool truncate(int file, off_t size) {
    return uninterrupted([&] { return ftruncate(file, size); }) == 0;
}

Replacement writeInPlace(const TargetFile& target, std::string_view bytes) {
    const struct stat& old = target.status();
    if ((old.st_mode & kOwnerOnly) != kOwnerOnly) {
        // If this fails, so does opening the file.
        [[maybe_unused]] const int isChanged =
            fchmodat(target.directory(), target.name(), (old.st_mode & 07777) | kOwnerOnly, 0);
    }
    const Descriptor file = target.open(O_WRONLY);
    if (!file.isOpen()) {
        return {lastError(), false};
    }
    if (const int error = makeRoom(file.number(), bytes.size()); error != 0) {
        truncate(file.number(), old.st_size);
        return {static_cast<SystemError>(error), true};
    }
    const bool isWritten = writeAll(file.number(), bytes) &&
                           truncate(file.number(), static_cast<off_t>(bytes.size())) &&
                           uninterrupted([&] { return fsync(file.number()); }) == 0;
    return {isWritten ? 0 : lastError(), true};
}

// Sets errno.
bool refuses(const TargetFile& target, WriteProtected writeProtected) {
    return writeProtected == WriteProtected::refuse && target.exists() &&
           faccessat(target.directory(), target.name(), W_OK, AT_EACCESS) != 0;
}

// Finds the file to be replaced, and removes abandoned files beside it; 0 is success.
SystemError locate(const char* path, WriteProtected writeProtected, TargetFile& target) {
    if (const SystemError error = target.locate(path); error != 0) {
        return error;
    }
    if (refuses(target, writeProtected)) {
        return lastError();
    }
    ReplacementFile::removeAbandoned(target.directory(), target.name());
    return 0;
}

class NewFile final : public NewContents {
public:
    SystemError begin(const char* path) {
        if (!SystemPath(path).fits()) {
            return ENAMETOOLONG; // openFile would refuse it, too
        }
        const SystemError error = locate(path, WriteProtected::refuse, target_);
        return error != 0
                   ? error
                   : makeBeside(target_, file_.emplace(target_.directory(), target_.name())).error;
    }

    FileHandle file() const override { return file_->number(); }
    SystemError takePlace() noexcept override {
        char path[64 + NAME_MAX]; // still leads to the directory if that was moved
        std::snprintf(path, sizeof path, "%s/%d/%s", OwnPath("fd").text, target_.directory(),
                      target_.name());
        const SaveTurn turn(path);
        // Its permissions may have changed.
        if (const SystemError error = target_.lookAgain(); error != 0) {
            return error;
        }
        if (refuses(target_, WriteProtected::refuse)) {
            return lastError();
        }
        return target_.exists() && !takeOver(target_, file_->number())
                   ? EPERM
                   : platform::takePlace(target_, *file_);
    }

private:
    TargetFile target_;
    std::optional<ReplacementFile> file_;
};

} // namespace

Replacement replaceContents(const char* path, std::string_view bytes,
                            WriteProtected writeProtected) noexcept {
    const NoWriteSignals guard; // a limit on the size of files is an error like a full disk
    TargetFile target;
    if (const SystemError error = locate(path, writeProtected, target); error != 0) {
        return {error, false};
    }
    const Replacement result = replaceByNewFile(target, bytes);
    return target.exists() && isRefusal(result.error) ? writeInPlace(target, bytes) : result;
}

std::unique_ptr<NewContents> beginReplacement(const char* path, SystemError& error) noexcept {
    std::unique_ptr<NewFile> contents(new (std::nothrow) NewFile);
    error = contents ? contents->begin(path) : ENOMEM;
    return error == 0 ? std::move(contents) : nullptr;
}

} // namespace platform

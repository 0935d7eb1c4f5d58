#include "platform/folders.h"

#include "platform/posix/own_path.h"

#include <mntent.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <string_view>

namespace platform {

namespace {

constexpr std::size_t kRoom = 256; // for a path of the virtual file system

// The file systems that were reported: a device that is mounted in several places counts once.
class SeenDevices {
public:
    bool add(dev_t device) {
        dev_t* const end = devices_.data() + count_;
        if (count_ == devices_.size() || std::find(devices_.data(), end, device) != end) {
            return false;
        }
        devices_[count_++] = device;
        return true;
    }

private:
    std::array<dev_t, 64> devices_;
    std::size_t count_ = 0;
};

// Disk images and optical discs are no fixed drives.
bool isFixedDevice(std::string_view device) {
    return device.starts_with("/dev/") && !device.starts_with("/dev/loop") &&
           !device.starts_with("/dev/sr") && device != "/dev/fuse";
}

void reportDrive(const char* mount, SeenDevices& seen, DriveCallback callback, void* context) {
    struct stat status;
    char path[kRoom] = {};
    const std::string_view name(mount);
    if (stat(mount, &status) == 0 && S_ISDIR(status.st_mode) && name.size() + 1 < kRoom &&
        seen.add(status.st_dev)) {
        char* const end = std::replace_copy(name.begin(), name.end(), path, '/', '\\');
        *end = name == "/" ? '\0' : '\\';
        callback(context, mount, path);
    }
}

} // namespace

void listDrives(DriveCallback callback, void* context) {
    SeenDevices seen;
    reportDrive("/", seen, callback, context);
    std::FILE* mounts = setmntent(OwnPath("mounts").text, "re");
    if (mounts == nullptr) {
        return;
    }
    mntent entry;
    char texts[4096];
    while (getmntent_r(mounts, &entry, texts, sizeof texts) != nullptr) {
        if (isFixedDevice(entry.mnt_fsname)) {
            reportDrive(entry.mnt_dir, seen, callback, context);
        }
    }
    endmntent(mounts);
}

} // namespace platform

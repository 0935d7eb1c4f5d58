#include "platform/posix/access_list.h"

#include "platform/posix/descriptor.h"

#include <sys/xattr.h>

#include <cerrno>

namespace platform {

bool copyAccessList(const TargetFile& target, int file) {
    constexpr char kName[] = "system.posix_acl_access";
    const Descriptor old = target.open(O_RDONLY);
    if (!old.isOpen()) {
        return false;
    }
    char list[16384];
    const ssize_t size = fgetxattr(old.number(), kName, list, sizeof list);
    if (size >= 0) {
        return fsetxattr(file, kName, list, static_cast<std::size_t>(size), 0) == 0;
    }
    if (errno == ENODATA) {
        return fremovexattr(file, kName) == 0 || errno == ENODATA;
    }
    return errno == ENOTSUP;
}

} // namespace platform

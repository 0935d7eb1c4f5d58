#include "platform/linux/mappings.h"

#include "platform/cut_text.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/own_path.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace platform {

namespace {

class LineReader {
public:
    explicit LineReader(const char* path) : file_(open(path, O_RDONLY | O_CLOEXEC)) {}

    // The next line without its end, cut if it is too long; false at the end of the file.
    bool next(char* line, std::size_t size) {
        std::size_t length = 0;
        for (char byte = 0; take(byte);) {
            if (byte == '\n') {
                line[length] = 0;
                return true;
            }
            if (length + 1 < size) {
                line[length++] = byte;
            }
        }
        return false;
    }

private:
    bool take(char& byte) {
        if (position_ == filled_) {
            const ssize_t count =
                file_.isOpen() ? read(file_.number(), buffer_, sizeof buffer_) : 0;
            if (count <= 0) {
                return false;
            }
            filled_ = static_cast<std::size_t>(count);
            position_ = 0;
        }
        byte = buffer_[position_++];
        return true;
    }

    Descriptor file_;
    std::size_t position_ = 0;
    std::size_t filled_ = 0;
    char buffer_[2048];
};

// One line: "7f00-7f10 r-xp 00000000 08:01 1234    /lib/x.so".
struct Entry {
    explicit Entry(const char* line) : rest(line) {
        begin = number();
        ++rest;
        end = number();
        isCode = std::strlen(rest) > 3 && rest[3] == 'x';
        skipField();
        ++rest;
        offset = number();
        skipField();
        skipField();
        rest += std::strspn(rest, " ");
    }

    std::uintptr_t number() {
        std::uintptr_t value = 0;
        for (;; ++rest) {
            const char c = *rest;
            if (c >= '0' && c <= '9') {
                value = value * 16 + static_cast<std::uintptr_t>(c - '0');
            } else if (c >= 'a' && c <= 'f') {
                value = value * 16 + static_cast<std::uintptr_t>(c - 'a' + 10);
            } else {
                return value;
            }
        }
    }

    void skipField() {
        rest += std::strspn(rest, " ");
        rest += std::strcspn(rest, " ");
    }

    const char* rest; // the path, when the constructor is done
    std::uintptr_t begin;
    std::uintptr_t end;
    std::uintptr_t offset;
    bool isCode;
};

bool contains(const Mapping& mapping, std::uintptr_t address) {
    return address - mapping.begin < mapping.end - mapping.begin;
}

// Calls visit(mapping, isCode) for each mapping, in the order of addresses, until it returns false.
template<class Visit>
void readMappings(Mapping& mapping, Visit visit) {
    mapping = {};
    LineReader maps(OwnPath("maps").text);
    char line[sizeof mapping.path + 80] = "";
    while (maps.next(line, sizeof line)) {
        const Entry entry(line);
        const bool isSameFile = std::strcmp(entry.rest, mapping.path) == 0;
        if (!isSameFile || entry.offset == 0) {
            copyCut(mapping.path, entry.rest);
            mapping.base = entry.offset == 0 ? entry.begin : 0;
        }
        mapping.begin = entry.begin;
        mapping.end = entry.end;
        if (!visit(mapping, entry.isCode)) {
            return;
        }
    }
    mapping = {};
}

// The mappings of code, where all frames are, in the order of addresses, as they were at the
// report's beginning. Pages of the table that are not used cost nothing.
class CodeTable {
public:
    constexpr CodeTable() = default;

    void read(Mapping& workplace) {
        isRead_ = true;
        readMappings(workplace, [this](const Mapping& mapping, bool isCode) {
            return !isCode || add(mapping);
        });
    }
    bool isRead() const { return isRead_; }

    bool find(std::uintptr_t address, Mapping& mapping) const {
        const Code* const behind = std::upper_bound(
            codes_, codes_ + count_, address,
            [](std::uintptr_t wanted, const Code& code) { return wanted < code.begin; });
        if (behind == codes_ || address >= behind[-1].end) {
            return false;
        }
        const Code& code = behind[-1];
        mapping.begin = code.begin;
        mapping.end = code.end;
        mapping.base = code.base;
        copyCut(mapping.path, paths_ + code.path);
        return true;
    }

    void forget() {
        isRead_ = false;
        count_ = 0;
        used_ = 0;
    }

private:
    static constexpr std::size_t kMostCodes = 4096;
    static constexpr std::size_t kRoomForPaths = std::size_t{1} << 17;

    struct Code {
        std::uintptr_t begin, end, base;
        std::size_t path; // where its path begins in paths_
    };

    // False if there is no room for it.
    bool add(const Mapping& mapping) {
        const std::size_t size = std::strlen(mapping.path) + 1;
        if (count_ == kMostCodes || size > kRoomForPaths - used_) {
            return false;
        }
        std::memcpy(paths_ + used_, mapping.path, size);
        codes_[count_++] = {mapping.begin, mapping.end, mapping.base, used_};
        used_ += size;
        return true;
    }

    bool isRead_ = false;
    std::size_t count_ = 0;
    std::size_t used_ = 0;
    Code codes_[kMostCodes]{};
    char paths_[kRoomForPaths]{};
};

constinit CodeTable codes;
constinit Mapping found{};

} // namespace

// Addresses outside code are rare. They are looked for among all mappings, like code for which the
// table has no room.
const Mapping* findMapping(std::uintptr_t address) {
    if (contains(found, address)) {
        return &found;
    }
    if (!codes.isRead()) {
        codes.read(found);
    }
    if (!codes.find(address, found)) {
        readMappings(found,
                     [=](const Mapping& mapping, bool) { return !contains(mapping, address); });
    }
    return contains(found, address) ? &found : nullptr;
}

void forgetMappings() {
    codes.forget();
    found = {};
}

} // namespace platform

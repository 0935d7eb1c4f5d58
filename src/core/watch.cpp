#include "Core/Watch.h"

#include "core/watch_table.h"
#include "platform/cut_text.h"
#include "platform/pause.h"
#include "platform/thread.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>

namespace {

constexpr std::size_t kPlaces = 16;
constexpr std::size_t kNameSize = 32;

struct Name {
    char text[kNameSize] = ""; // zeros behind the name

    bool operator==(const Name&) const = default;
};

struct Watch {
    QZ_watch_callback callback = nullptr; // null: the place is free
    void* data = nullptr;
    Name name;
};

constinit std::array<Watch, kPlaces> watches{};

constinit platform::RecursiveMutex tableMutex{}; // exists while the table is open
constinit std::atomic<bool> tableIsOpen{false};

// Holds the table's mutex, or nothing while the table is closed.
class TableLock {
public:
    TableLock() : held_(tableIsOpen.load(std::memory_order_acquire)) {
        if (held_) {
            tableMutex.lock();
        }
    }
    ~TableLock() {
        if (held_) {
            tableMutex.unlock();
        }
    }
    TableLock(const TableLock&) = delete;
    TableLock& operator=(const TableLock&) = delete;

    explicit operator bool() const { return held_; }

private:
    const bool held_;
};

Name cutName(const char* name) {
    Name cut;
    platform::copyCut(cut.text, name != nullptr ? name : "");
    return cut;
}

Watch* findWatch(const Name& name) {
    const auto found = std::find_if(watches.begin(), watches.end(), [&](const Watch& watch) {
        return watch.callback != nullptr && watch.name == name;
    });
    return found == watches.end() ? nullptr : &*found;
}

Watch* findFreePlace() {
    const auto found = std::find_if(watches.begin(), watches.end(),
                                    [](const Watch& watch) { return watch.callback == nullptr; });
    return found == watches.end() ? nullptr : &*found;
}

// Appends to a caller's buffer, always terminated, never past its size.
class Output {
public:
    Output(char* buffer, std::size_t size) : buffer_(buffer), size_(size) {}

    // False if not everything fitted.
    bool append(const Watch& watch, unsigned int mode) {
        const char* separator = written_ > 0 && buffer_[written_ - 1] != '\n' ? "\n" : "";
        const std::size_t prefix = std::strlen(separator) + std::strlen(watch.name.text) + 2;
        if (prefix + 2 > left()) {
            std::snprintf(end(), left(), "<...>");
            return false;
        }
        std::snprintf(end(), left(), "%s%s: ", separator, watch.name.text);
        written_ += prefix;
        const std::size_t value = watch.callback(mode, end(), left(), watch.data);
        if (value > left()) {
            return false;
        }
        written_ += value;
        return true;
    }

    std::size_t written() const { return written_; }

private:
    char* end() { return buffer_ + written_; }
    std::size_t left() const { return size_ - written_; }

    char* buffer_;
    std::size_t size_;
    std::size_t written_ = 0;
};

} // namespace

void core::openWatchTable() {
    if (!tableIsOpen.load(std::memory_order_acquire)) {
        tableMutex.create();
        tableIsOpen.store(true, std::memory_order_release);
    }
}

void core::closeWatchTable() {
    if (tableIsOpen.exchange(false)) {
        watches.fill(Watch{});
        tableMutex.destroy();
    }
}

core::HeldWatchTable::HeldWatchTable()
    : isHeld_(tableIsOpen.load(std::memory_order_acquire) &&
              platform::succeedsSoon([] { return tableMutex.tryLock(); })) {}

core::HeldWatchTable::~HeldWatchTable() {
    if (isHeld_) {
        tableMutex.unlock();
    }
}

int QZ_watch_set(const char* name, QZ_watch_callback callback, void* data) {
    const TableLock lock;
    const Name cut = cutName(name);
    if (Watch* watch = findWatch(cut)) {
        if (callback != nullptr) {
            return 0;
        }
        *watch = Watch{};
        return 1;
    }
    Watch* place = findFreePlace();
    if (!lock || place == nullptr || callback == nullptr) {
        return 0;
    }
    *place = Watch{callback, data, cut};
    return 1;
}

void QZ_watch_reset(const char* name) {
    QZ_watch_set(name, nullptr, nullptr);
}

size_t QZ_watch_get_one(const char* name, unsigned int mode, char* buffer, size_t size) {
    const TableLock lock;
    const Watch* watch = findWatch(cutName(name));
    return watch != nullptr ? watch->callback(mode, buffer, size, watch->data) : 0;
}

size_t QZ_watch_get_all(unsigned int mode, char* buffer, size_t size) {
    const TableLock lock;
    if (size > 0) {
        buffer[0] = '\0';
    }
    Output output(buffer, size);
    for (const Watch& watch : watches) {
        if (watch.callback != nullptr && !output.append(watch, mode)) {
            return size;
        }
    }
    return output.written();
}

void QZ_watch_get_list(QZ_watch_list_function function, void* context) {
    const TableLock lock;
    for (const Watch& watch : watches) {
        if (watch.callback != nullptr) {
            function(watch.name.text, context);
        }
    }
}

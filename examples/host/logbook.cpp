#include "logbook.h"

#include "logging.h"
#include "user_error.h"

#include "Core/Log.h"
#include "Tasks/TaskManager.h"
#include "VFS/File.h"

#include <memory>

struct Logbook::Entry {
    Logbook* book;
    std::string line;
};

Logbook::Logbook(const std::string& file) : file_(file), queue_(QZ_create_serial_queue("logbook")) {
    VFS_File* const begun = VFS_open_write(file_.c_str());
    if (begun == nullptr) {
        throw UserError(file_ + " cannot be written");
    }
    VFS_close(begun);
}

Logbook::~Logbook() {
    QZ_wait_serial_queue(queue_);
}

void Logbook::add(std::string line) {
    QZ_add_serial_queue_task(queue_, new Entry{this, std::move(line) + "\n"}, write);
}

/* Opened for each line: arrivals are rare, and a crash loses none. */
void Logbook::write(void* entry) {
    const std::unique_ptr<Entry> mine(static_cast<Entry*>(entry));
    VFS_File* const file = VFS_open_append(mine->book->file_.c_str());
    if (file == nullptr ||
        VFS_write(file, mine->line.data(), mine->line.size()) != mine->line.size()) {
        hostLog(QZ_LOG_ERROR, "%s cannot be written", mine->book->file_.c_str());
    }
    VFS_close(file);
}

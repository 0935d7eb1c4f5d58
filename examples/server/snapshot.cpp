#include "snapshot.h"

#include "Common/Profiler.h"
#include "Mail/Stream.h"
#include "Tasks/TaskManager.h"
#include "VFS/Binary.h"
#include "VFS/File.h"

#include <algorithm>
#include <filesystem>

namespace {

/* Writes a state or reads one. */
void exchange(Mail::Stream& stream, ActorState& state) {
    auto cells = static_cast<std::uint16_t>(state.way.size());
    stream.transfer(cells);
    state.way.resize(cells);
    for (Cell& cell : state.way) {
        stream.transfer(cell);
    }
    stream.transfer(state.unit);
    stream.transfer(state.place);
    stream.transfer(state.letters);
}

/* Uses several messages: each has at most 65,535 bytes, and a state has less than half of that. */
std::vector<Mail::Message> pack(std::vector<ActorState> states) {
    std::vector<Mail::Message> parts;
    for (auto next = states.begin(); next != states.end();) {
        parts.emplace_back(0U);
        Mail::Writer writer(parts.back());
        while (next != states.end() && writer.getSize() < Mail::Message::kMaxSize / 2) {
            exchange(writer, *next++);
        }
    }
    return parts;
}

/* Behind the end of a message a reader reads zeros, and a state's way is never empty. */
std::vector<ActorState> unpack(const std::vector<Mail::Message>& parts) {
    std::vector<ActorState> states;
    for (const Mail::Message& part : parts) {
        Mail::Reader reader(part);
        do {
            exchange(reader, states.emplace_back());
        } while (!states.back().way.empty());
        states.pop_back();
    }
    return states;
}

/* Errors of writing are found when the file is read back. */
void save(const std::string& path, const std::vector<Mail::Message>& parts) {
    VFS_File* const file = VFS_open_write(path.c_str());
    for (const Mail::Message& part : parts) {
        std::vector<char> bytes(part.getSize());
        VFS_put_string(file, bytes.data(), part.getBytes(bytes.data(), bytes.size()));
    }
    VFS_close(file);
}

std::vector<Mail::Message> load(const std::string& path) {
    std::vector<char> bytes(Mail::Message::kMaxSize + 1); // a string is ended by a zero
    VFS_File* const file = VFS_open_read(path.c_str());
    std::vector<Mail::Message> parts;
    while (VFS_tell(file) < VFS_getsize(file)) {
        const std::uint64_t size = VFS_get_string(file, bytes.data(), bytes.size());
        parts.emplace_back(0U).addBytes(bytes.data(), std::min(size, Mail::Message::kMaxSize));
    }
    VFS_close(file);
    return parts;
}

} // namespace

void SnapshotWriter::write(const Crowd& crowd) {
    isBusy_ = true;
    path_ = directory_ + "/snapshot-" + std::to_string(written % 10) + ".bin";
    states_.clear();
    for (const auto& actor : crowd.actors()) {
        states_.push_back(actor->state());
    }
    QZ_add_task(this, [](void* writer) {
        const Common::ProfiledFunc section("write snapshot");
        auto& mine = *static_cast<SnapshotWriter*>(writer);
        save(mine.path_, pack(mine.states_));
        const bool works = unpack(load(mine.path_)) == mine.states_;
        mine.size_ = works ? std::filesystem::file_size(mine.path_) : 0;
        QZ_add_main_thread_task(writer, [](void* done) {
            auto& other = *static_cast<SnapshotWriter*>(done);
            other.isBusy_ = false;
            ++(other.size_ > 0 ? other.written : other.failed);
            other.bytes += other.size_;
        });
    });
}

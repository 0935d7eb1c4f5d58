#include "util/publication.h"

#include "Common/Profiler.h"
#include "Core/Clock.h"
#include "Core/Watch.h"
#include "Util/Publish.h"
#include "core/library_log.h"
#include "core/watch_table.h"
#include "platform/cut_text.h"
#include "platform/thread.h"
#include "platform/wait_until.h"
#include "tasks/census.h"
#include "util/published_log.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace util {

namespace {

constexpr double kSecondsBetweenLooks = 0.25;
constexpr double kSecondsOfRate = 1.0;
constexpr double kNanosecondsASecond = 1e9;

// The watches' callbacks take most of the time, so no call but the first reads them all.
constexpr std::size_t kWatchesACall = 1;

// How long the writer thread may take to put its last lines into the memory and leave it.
constexpr std::chrono::milliseconds kWriterMoment{100};

std::uint64_t nanosecondsSince1970() {
    const auto time = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(time).count());
}

std::uint32_t limited(std::size_t count) {
    return static_cast<std::uint32_t>(std::min<std::size_t>(count, UINT32_MAX));
}

} // namespace

Publication::Publication(std::string_view name, std::uint64_t process)
    : name_(name), process_(process) {}

std::unique_ptr<Publication> Publication::open(std::string_view name) {
    const auto process = static_cast<std::uint64_t>(platform::processId());
    std::unique_ptr<Publication> made(new Publication(name, process));
    return made->makeBlock() ? std::move(made) : nullptr;
}

// Makes the running memory last, so that whoever finds it finds the block in order. If it exists
// already, another program with our process number, in another namespace, has it and the block.
bool Publication::makeBlock() {
    const std::string running = publishedAs(kRunningPrefix, name_, process_);
    if (platform::sharedMemoryExists(running.c_str())) {
        return false;
    }
    memory_ = platform::OpenSharedMemory(platform::openSharedMemory(
        publishedAs(kBlockPrefix, name_, process_).c_str(), PublishedBlock::kSize, nullptr));
    if (memory_ == nullptr || platform::sizeOf(*memory_) < PublishedBlock::kSize) {
        return false;
    }
    initialise();
    running_.reset(platform::openSharedMemory(running.c_str(), sizeof(std::uint64_t), nullptr));
    return running_ != nullptr;
}

// Somebody may still read the block of a dead program that had our name and process number.
void Publication::initialise() {
    block_ = reinterpret_cast<PublishedBlock*>(platform::bytesOf(*memory_));
    PublishedHead& head = block_->head;
    const std::atomic_ref mark(head.mark);
    mark.store(0, std::memory_order_relaxed);
    {
        const PublishedChange change(head);
        storePublished(head.size, static_cast<std::uint32_t>(PublishedBlock::kSize));
        storePublished(head.process, process_);
        const std::uint64_t now = nanosecondsSince1970();
        storePublished(head.started, now);
        storePublished(block_->snapshot, PublishedSnapshot{});
        storePublished(block_->snapshot.figures.time, now);
    }
    CRingBuffer().Init(block_->log, sizeof block_->log);
    mark.store(kPublishedMark, std::memory_order_release);
}

// The memory's name is free for the next one as soon as the writer thread has left the memory. A
// forked child has no writer thread to wait for.
Publication::~Publication() {
    qz_log_reader_close(log_);
    constexpr std::chrono::milliseconds kStep{1};
    platform::waitUntil(kWriterMoment, kStep,
                        [this] { return !isOfThisProcess() || memory_.use_count() <= 1; });
}

bool Publication::isOfThisProcess() const {
    return process_ == static_cast<std::uint64_t>(platform::processId());
}

bool Publication::isOf(std::string_view name) const {
    return name == name_ && isOfThisProcess();
}

void Publication::publish() {
    const double now = QZ_get_time();
    const bool isFirst = nextLook_ == 0;
    measureRate(now);
    if (watches_.isWhole && now >= nextLook_) {
        nextLook_ = now + kSecondsBetweenLooks;
        attachLog();
        watches_ = {};
    }
    readWatches(isFirst ? kPublishedWatches : kWatchesACall);
    publishFigures();
}

// May fail because there are too many readers just now; the next look tries again.
void Publication::attachLog() {
    if (log_ != nullptr || !core::isLogToCome()) {
        return;
    }
    log_ = core::openLogSink(
        std::unique_ptr<core::LogSink>(new (std::nothrow) PublishedLog(memory_, *block_)));
    if (log_ == nullptr && !isLogMissed_) {
        isLogMissed_ = true;
        qz_log("QZCORE", QZ_LOG_WARNING,
               "The log is not published: eight read it already, or there is no memory");
    }
}

void Publication::publishFigures() {
    const tasks::Census census = tasks::census();
    figures_.workers = limited(census.workers);
    figures_.tasksRunning = limited(census.running);
    figures_.tasksWaiting = limited(census.waiting);
    figures_.mainThreadTasks = limited(census.mainThread);
    figures_.time = nanosecondsSince1970();
    double seconds[kPublishedFrames];
    // Read before the change begins: it takes a lock, and readers wait for the change's end.
    const std::size_t count = globalProfiler.readFrames(nextFrame_, seconds, kPublishedFrames);
    const PublishedChange change(block_->head);
    publishFrames(std::span(seconds, count));
    storePublished(block_->snapshot.figures, figures_);
}

void Publication::publishFrames(std::span<const double> seconds) {
    for (const double duration : seconds) {
        std::uint64_t& place = block_->snapshot.frameTimes[figures_.frames++ % kPublishedFrames];
        storePublished(place, static_cast<std::uint64_t>(duration * kNanosecondsASecond));
    }
}

// Takes only the names; the values are read later, over several calls.
void Publication::listWatches() {
    QZ_watch_get_list(
        [](const char* name, void* context) {
            auto& watches = *static_cast<Watches*>(context);
            if (watches.count < kPublishedWatches) {
                PublishedWatch& place = watches.places[watches.count++];
                std::snprintf(place.name, sizeof place.name, "%s", name);
            }
        },
        &watches_);
}

// The callbacks run before the snapshot changes, because readers wait for the change's end.
void Publication::readWatches(std::size_t most) {
    if (watches_.isWhole) {
        return;
    }
    const core::HeldWatchTable table;
    if (!table) {
        return;
    }
    if (!std::exchange(watches_.isListed, true)) {
        listWatches();
    }
    const std::size_t end = std::min(watches_.count, watches_.read + most);
    while (watches_.read < end) {
        PublishedWatch& watch = watches_.places[watches_.read++];
        char value[sizeof watch.value + 1] = ""; // shows whether a character ends at the cut
        QZ_watch_get_one(watch.name, QZ_PUBLISH_WATCH_MODE, value, sizeof value);
        platform::copyCut(watch.value, value);
    }
    watches_.isWhole = end == watches_.count;
    if (watches_.isWhole) {
        figures_.watches = watches_.count;
        const PublishedChange change(block_->head);
        storePublished(block_->snapshot.watches, watches_.places);
        storePublished(block_->snapshot.figures, figures_);
    }
}

void Publication::measureRate(double now) {
    if (rateStart_ != 0 && now - rateStart_ < kSecondsOfRate) {
        return;
    }
    if (rateStart_ != 0) {
        figures_.rateFrames = figures_.frames - rateStartFrames_;
        figures_.rateNanoseconds =
            static_cast<std::uint64_t>((now - rateStart_) * kNanosecondsASecond);
    }
    rateStart_ = now;
    rateStartFrames_ = figures_.frames;
}

} // namespace util

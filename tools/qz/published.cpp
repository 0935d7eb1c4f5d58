#include "published.h"

#include "failure.h"
#include "printable.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <string_view>
#include <thread>
#include <utility>

namespace {

using util::PublishedBlock;
using util::PublishedMessage;
using util::PublishedSnapshot;

// A change takes less than a microsecond, unless the program is stopped during it.
constexpr int kAttempts = 1000;

// The limit lets the caller continue even if a program fills its log as fast as it is read.
constexpr int kMostRecords = 1000;

constexpr std::size_t kLongestText = 1024;
constexpr double kLatest = 1e9; // seconds

// Parses "name.process"; empty for anything else.
std::optional<Program> programOf(std::string_view address) {
    const std::size_t point = address.rfind('.');
    if (point == std::string_view::npos || point == 0) {
        return std::nullopt;
    }
    Program program{std::string(address.substr(0, point)), 0};
    const char* const end = address.data() + address.size();
    const auto [last, problem] = std::from_chars(address.data() + point + 1, end, program.process);
    return problem == std::errc() && last == end ? std::optional(program) : std::nullopt;
}

std::vector<Program> programsOf(const std::string& name) {
    std::vector<Program> programs = runningPrograms();
    std::erase_if(programs, [&](const Program& program) { return program.name != name; });
    return programs;
}

// Throws Failure if there are several: the user must choose one.
void requireOne(const std::vector<Program>& found, const std::string& address) {
    if (found.size() > 1) {
        std::string names;
        for (const Program& program : found) {
            names += " " + program.name + "." + std::to_string(program.process);
        }
        throw Failure("several programs are called " + address + ", take one of" + names);
    }
}

bool isRunning(const Program& program) {
    return platform::sharedMemoryExists(
        util::publishedAs(util::kRunningPrefix, program.name, program.process).c_str());
}

template<std::size_t Size>
void terminate(char (&text)[Size]) {
    text[Size - 1] = '\0';
}

void putInBounds(PublishedSnapshot& snapshot) {
    std::uint64_t& watches = snapshot.figures.watches;
    watches = std::min<std::uint64_t>(watches, util::kPublishedWatches);
    for (util::PublishedWatch& watch : snapshot.watches) {
        terminate(watch.name);
        terminate(watch.value);
    }
}

LogLine lineOf(PublishedMessage& message, std::string text, bool isBehindGap) {
    terminate(message.module);
    const bool isTime = message.time >= 0 && message.time < kLatest;
    return {isTime ? message.time : 0, message.level, message.module,
            std::move(text),           message.lost,  isBehindGap};
}

} // namespace

std::vector<Program> runningPrograms() {
    std::vector<Program> programs;
    platform::listSharedMemory(
        [](void* context, const char* memory) {
            const std::string_view name = memory;
            if (!name.starts_with(util::kRunningPrefix)) {
                return;
            }
            if (auto program = programOf(name.substr(util::kRunningPrefix.size()))) {
                static_cast<std::vector<Program>*>(context)->push_back(std::move(*program));
            }
        },
        &programs);
    std::ranges::sort(programs);
    return programs;
}

PublishedView::PublishedView(char* memory, std::uint64_t size)
    : block_(reinterpret_cast<PublishedBlock*>(memory)), started_(0) {
    if (size < sizeof(PublishedBlock) ||
        std::atomic_ref(block_->head.mark).load(std::memory_order_acquire) !=
            util::kPublishedMark ||
        log_.Open(block_->log, sizeof block_->log) == 0) {
        throw Failure("what the program publishes cannot be read");
    }
    started_ = util::loadPublished(block_->head.started);
}

bool PublishedView::isSame() const {
    return util::loadPublished(block_->head.started) == started_;
}

std::optional<PublishedSnapshot> PublishedView::snapshot() const {
    const std::atomic_ref sequence(block_->head.sequence);
    for (int i = 0; i < kAttempts; ++i) {
        const std::uint64_t before = sequence.load(std::memory_order_acquire);
        if (before % 2 == 0) {
            PublishedSnapshot copy = util::loadPublished(block_->snapshot);
            if (sequence.load(std::memory_order_relaxed) == before) {
                putInBounds(copy);
                return copy;
            }
        }
        std::this_thread::yield();
    }
    return std::nullopt;
}

std::optional<LogLine> PublishedView::nextLine() {
    for (int i = 0; i < kMostRecords; ++i) {
        int isLapped = 0;
        const unsigned long length = log_.PopStart(&isLapped);
        isBehindGap_ = isBehindGap_ || isLapped != 0;
        if (length == 0) {
            return std::nullopt;
        }
        PublishedMessage message{};
        std::string text;
        const bool isRead = readMessage(message, text, length);
        if (!isSame()) { // line and gap belong to the next program
            return std::nullopt;
        }
        if (isRead) {
            return lineOf(message, std::move(text), std::exchange(isBehindGap_, false));
        }
    }
    return std::nullopt;
}

// False if the record is no message, or was overwritten while it was read.
bool PublishedView::readMessage(PublishedMessage& message, std::string& text,
                                unsigned long length) {
    if (length < sizeof message || log_.PopData(reinterpret_cast<const char*>(&message),
                                                sizeof message, sizeof message) == 0) {
        return false;
    }
    const unsigned long rest = length - static_cast<unsigned long>(sizeof message);
    text.resize(std::min<std::size_t>(rest, kLongestText));
    return rest == 0 ||
           log_.PopData(text.data(), static_cast<unsigned long>(text.size()), rest) != 0;
}

Watched::Watched(const std::string& address) : mayHaveNext_(true) {
    std::vector<Program> found = programsOf(address);
    if (const auto program = programOf(address); found.empty() && program) {
        found = programsOf(program->name);
        std::erase_if(found, [&](const Program& one) { return one != *program; });
        mayHaveNext_ = false;
    }
    requireOne(found, address);
    if (found.empty() || !open(found.front())) {
        throw Failure("no running program is called " + printable(address) + "; see qz log list");
    }
}

// False if the program has ended meanwhile.
bool Watched::open(const Program& program) {
    platform::OpenSharedMemory memory(platform::openSharedMemory(
        util::publishedAs(util::kBlockPrefix, program.name, program.process).c_str(),
        static_cast<std::uint32_t>(util::PublishedBlock::kSize), nullptr));
    if (memory == nullptr) {
        return false;
    }
    try {
        view_ =
            std::make_unique<PublishedView>(platform::bytesOf(*memory), platform::sizeOf(*memory));
    } catch (const Failure&) {
        if (isRunning(program)) {
            throw;
        }
        return false;
    }
    memory_ = std::move(memory);
    program_ = program;
    return true;
}

bool Watched::hasEnded() const {
    return !isRunning(program_) || !view_->isSame();
}

bool Watched::findNext() {
    if (!mayHaveNext_) {
        return false;
    }
    const std::vector<Program> found = programsOf(program_.name);
    requireOne(found, program_.name);
    return !found.empty() && open(found.front());
}

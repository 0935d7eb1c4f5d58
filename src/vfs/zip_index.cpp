#include "vfs/zip_index.h"

#include "core/spread.h"

#include <algorithm>
#include <limits>

namespace vfs {

namespace {

// How many folders may exist only as parts of names: each takes more memory than its name.
constexpr std::size_t kFoldersForEach = 8;
constexpr std::size_t kFoldersForAll = 65'536;

// How many steps searches may take. One takes two or three, unless names were chosen to share a
// hash.
constexpr std::uint64_t kStepsForEach = 16;
constexpr std::uint64_t kStepsForAll = 65'536;

// Memory is allocated ahead for at most this many entries: there may be fewer than the archive
// says.
constexpr std::size_t kMostAtFirst = 1 << 20;

constexpr std::size_t kMaxNameLength = 1024;
constexpr std::ptrdiff_t kMaxNameDepth = 64;

constexpr std::size_t kMaxNodes = std::numeric_limits<std::uint32_t>::max() / 2;
constexpr std::size_t kMaxNames = std::numeric_limits<std::uint32_t>::max();

// FNV-1a with a final mix. Hashing a name also gives the hash of each folder in it.
class NameHash {
public:
    void add(char letter) {
        state_ = (state_ ^ static_cast<unsigned char>(letter)) * 0x100000001B3;
    }

    std::uint32_t value() const { return static_cast<std::uint32_t>(state_ * core::kSpread >> 32); }

private:
    std::uint64_t state_ = 0xCBF29CE484222325;
};

// Whether a path can lead to the name.
bool isInTree(std::string_view name) {
    using namespace std::string_view_literals;
    if (name.find_first_of("\\:\0"sv) != std::string_view::npos) {
        return false;
    }
    for (std::size_t end = 0; end != std::string_view::npos;) {
        end = name.find('/');
        const std::string_view part = name.substr(0, end);
        if (part.empty() || part == "." || part == "..") {
            return false;
        }
        name.remove_prefix(part.size() + (end == std::string_view::npos ? 0 : 1));
    }
    return true;
}

} // namespace

const char* ZipIndex::flawOf(std::string_view name) {
    if (name.size() > kMaxNameLength) {
        return "its name is too long; left out";
    }
    if (std::count(name.begin(), name.end(), '/') >= kMaxNameDepth) {
        return "its name has too many levels; left out";
    }
    return isInTree(name) ? nullptr : "no path leads to its name; left out";
}

ZipIndex::ZipIndex(std::size_t entries)
    : mostNodes_(std::min(kFoldersForEach * entries + kFoldersForAll, kMaxNodes)) {
    slots_.reserve(std::min(entries, kMostAtFirst) + 1);
    nodes_.reserve(std::min(entries, kMostAtFirst) + 1);
    nodes_.emplace_back();
}

ZipIndex::Added ZipIndex::add(std::string_view name, const ZipEntry& entry) {
    const std::size_t nodesBefore = nodes_.size();
    const std::size_t namesBefore = names_.size();
    if (name.size() > kMaxNames - namesBefore) {
        return Added::tooMuch;
    }
    names_.insert(names_.end(), name.begin(), name.end());
    const Added added = addKept(static_cast<std::uint32_t>(namesBefore), name.size(), entry);
    if (nodes_.size() == nodesBefore) {
        names_.resize(namesBefore);
    }
    return added;
}

// A folder's name is a part of the name of the first entry in it.
ZipIndex::Added ZipIndex::addKept(std::uint32_t name, std::size_t length, const ZipEntry& entry) {
    Node wanted;
    wanted.name_ = name;
    NameHash hash;
    std::uint32_t parent = 0;
    for (std::size_t index = 0; index < length; ++index) {
        const char letter = names_[name + index];
        if (letter == '/') {
            wanted.nameLength_ = static_cast<std::uint16_t>(index);
            parent = ensure(hash.value(), wanted, parent);
            if (parent == 0 || !nodes_[parent].isFolder()) {
                return parent == 0 ? Added::tooMuch : Added::misfit;
            }
        }
        hash.add(letter);
    }
    wanted.nameLength_ = static_cast<std::uint16_t>(length);
    wanted.entry_ = entry;
    const std::size_t before = nodes_.size();
    const std::uint32_t number = ensure(hash.value(), wanted, parent);
    if (number == 0) {
        return Added::tooMuch;
    }
    Node& node = nodes_[number];
    if (node.isFolder() != wanted.isFolder()) {
        return Added::misfit;
    }
    const bool isSecond = nodes_.size() == before && !node.isFolder();
    node.entry_ = entry;
    return isSecond ? Added::replaced : Added::yes;
}

// The node of the wanted name, which is added if there was none; 0 if there are too many.
std::uint32_t ZipIndex::ensure(std::uint32_t hash, const Node& wanted, std::uint32_t parent) {
    slots_.makeRoom();
    Slot& slot = slots_.slotFor(hash, isOf(hash, nameOf(wanted)));
    steps_ += slots_.stepsTo(slot, hash);
    if (!slot.isFree()) {
        return slot.node;
    }
    if (nodes_.size() >= mostNodes_ || steps_ > kStepsForEach * nodes_.size() + kStepsForAll) {
        return 0;
    }
    const auto number = static_cast<std::uint32_t>(nodes_.size());
    nodes_.push_back(wanted);
    nodes_.back().nextSibling_ = nodes_[parent].firstChild_;
    nodes_[parent].firstChild_ = number;
    slots_.fill(slot, {hash, number});
    return number;
}

void ZipIndex::finish() {
    nodes_.shrink_to_fit();
    names_.shrink_to_fit();
}

const ZipIndex::Node* ZipIndex::find(std::string_view name) const {
    if (name.empty()) {
        return &nodes_.front();
    }
    NameHash hash;
    for (const char letter : name) {
        hash.add(letter);
    }
    const Slot* const slot = slots_.find(hash.value(), isOf(hash.value(), name));
    return slot == nullptr ? nullptr : &nodes_[slot->node];
}

} // namespace vfs

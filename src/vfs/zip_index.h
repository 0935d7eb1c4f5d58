// The tree of an archive's names. The time to find a name does not grow with their number.
#pragma once

#include "core/probe_table.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace vfs {

enum class ZipContent : std::uint8_t {
    folder,
    stored,
    deflated,
    encrypted,   // an entry of this kind or one of the following cannot be read
    otherMethod, // packed by another method
    implausible, // its sizes or its position cannot be right
};

// What an archive's directory says about an entry.
struct ZipEntry {
    std::uint64_t header = 0; // position of its local header in the archive; the data follows
    std::uint64_t packed = 0; // bytes
    std::uint64_t size = 0;
    std::uint32_t sum = 0;
    ZipContent content = ZipContent::folder;
};

inline bool isReadable(const ZipEntry& entry) {
    return entry.content == ZipContent::stored || entry.content == ZipContent::deflated;
}

// A name has "/" between its parts, and flawOf finds nothing wrong with it.
class ZipIndex {
public:
    // Pointers to nodes, and names, stay valid until the next call of add() or finish().
    class Node {
    public:
        const ZipEntry& entry() const { return entry_; }
        bool isFolder() const { return entry_.content == ZipContent::folder; }

    private:
        friend class ZipIndex;
        ZipEntry entry_;
        std::uint32_t name_ = 0; // where the name begins in names_
        std::uint32_t firstChild_ = 0;
        std::uint32_t nextSibling_ = 0;
        std::uint16_t nameLength_ = 0;
    };

    enum class Added {
        yes,
        replaced, // added in place of the earlier file of that name
        misfit,   // not added: a file has the name of a folder, or the other way round
        tooMuch,  // not added: the names would take too much memory or time
    };

    // Why a name that an archive gives must not be added, or null.
    static const char* flawOf(std::string_view name);

    // `entries` is the most that should be added. Both throw std::bad_alloc; the index is then of
    // no more use.
    explicit ZipIndex(std::size_t entries);
    Added add(std::string_view name, const ZipEntry& entry);

    // Call after the last add: releases the memory that only adding needs.
    void finish();

    // Null if there is no such name. The root's name is empty.
    const Node* find(std::string_view name) const;

    // The nodes in a folder, one after another; null at the end.
    const Node* firstIn(const Node& folder) const { return nodeOrNull(folder.firstChild_); }
    const Node* nextTo(const Node& node) const { return nodeOrNull(node.nextSibling_); }

    std::string_view nameOf(const Node& node) const {
        return {names_.data() + node.name_, node.nameLength_};
    }

private:
    struct Slot {
        std::uint32_t nameHash = 0;
        std::uint32_t node = 0; // 0 if the slot is free: node 0 is the root, which has no slot

        bool isFree() const { return node == 0; }
        std::size_t hash() const { return nameHash; }
    };

    // Whether a slot is that of a name.
    auto isOf(std::uint32_t hash, std::string_view name) const {
        return [this, hash, name](const Slot& slot) {
            return slot.nameHash == hash && nameOf(nodes_[slot.node]) == name;
        };
    }

    const Node* nodeOrNull(std::uint32_t number) const {
        return number == 0 ? nullptr : &nodes_[number];
    }
    Added addKept(std::uint32_t name, std::size_t length, const ZipEntry& entry);
    std::uint32_t ensure(std::uint32_t hash, const Node& wanted, std::uint32_t parent);

    std::vector<Node> nodes_;
    std::vector<char> names_;
    core::ProbeTable<std::vector<Slot>> slots_;
    std::size_t mostNodes_;
    std::uint64_t steps_ = 0; // taken by all searches of `add`
};

} // namespace vfs

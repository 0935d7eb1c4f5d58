// The tree of an archive's names, in which each is found in a time that does not grow with their
// number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace vfs {

enum class ZipContent : std::uint8_t {
    folder,
    stored,
    deflated,
    encrypted,   // this one and the following cannot be read
    otherMethod, // packed by another method than the two
    implausible, // with sizes or a place that cannot be
};

// What an archive's directory says of an entry.
struct ZipEntry {
    std::uint64_t header = 0; // where in the archive its local header is; its data follow it
    std::uint64_t packed = 0; // bytes
    std::uint64_t size = 0;
    std::uint32_t sum = 0;
    ZipContent content = ZipContent::folder;
};

inline bool isReadable(const ZipEntry& entry) {
    return entry.content == ZipContent::stored || entry.content == ZipContent::deflated;
}

// Names have "/" between their parts, none of which is empty, and fewer than 65,536 bytes.
class ZipIndex {
public:
    // What the functions return stays valid until something is added.
    class Node {
    public:
        const ZipEntry& entry() const { return entry_; }
        bool isFolder() const { return entry_.content == ZipContent::folder; }

    private:
        friend class ZipIndex;
        ZipEntry entry_;
        std::uint32_t name_ = 0; // where it begins among all names
        std::uint32_t firstChild_ = 0;
        std::uint32_t nextSibling_ = 0;
        std::uint16_t nameLength_ = 0;
    };

    enum class Added {
        yes,
        replaced, // the file of that name counts no more
        misfit,   // no: there is a file where a folder is to be, or the other way round
        tooMuch,  // no: the names are made to take more memory or time than is their due
    };

    // There should not be more entries. Both throw std::bad_alloc, and then the index is of no more
    // use.
    explicit ZipIndex(std::size_t entries);
    Added add(std::string_view name, const ZipEntry& entry);

    // Gives back memory that only adding needs.
    void finish();

    // Null if there is none. The root's name is empty.
    const Node* find(std::string_view name) const;

    // The nodes in a folder, one after the other; null at the end.
    const Node* firstIn(const Node& folder) const { return nodeOrNull(folder.firstChild_); }
    const Node* nextTo(const Node& node) const { return nodeOrNull(node.nextSibling_); }

    std::string_view nameOf(const Node& node) const {
        return {names_.data() + node.name_, node.nameLength_};
    }

private:
    struct Slot {
        std::uint32_t hash;
        std::uint32_t node; // 0 if the slot is free: the root needs none
    };

    const Node* nodeOrNull(std::uint32_t number) const {
        return number == 0 ? nullptr : &nodes_[number];
    }
    Added addKept(std::uint32_t name, std::size_t length, const ZipEntry& entry);
    std::uint32_t ensure(std::uint32_t hash, const Node& wanted, std::uint32_t parent);
    std::size_t search(std::uint32_t hash, std::string_view name) const;
    void makeRoom();

    std::vector<Node> nodes_;
    std::vector<char> names_;
    std::vector<Slot> slots_; // their number is a power of two, and half of them stay free
    std::size_t mostNodes_;
    std::uint64_t steps_ = 0; // of the searches of adding
};

} // namespace vfs

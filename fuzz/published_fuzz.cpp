// A published block written by a malicious program: the reader stays within its bounds, every call
// ends, and the picture has 80 columns and does not move the cursor.
#include "require.h"

#include "failure.h"
#include "published.h"
#include "top_picture.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

namespace {

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool isEmpty() const { return size_ == 0; }

    template<class Value>
    Value take() {
        Value value{};
        const std::size_t count = std::min(sizeof value, size_);
        std::memcpy(&value, data_, count);
        data_ += count;
        size_ -= count;
        return value;
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
};

// A block as a program makes it; on the heap, so that the sanitizer detects overruns.
struct Block {
    std::unique_ptr<util::PublishedBlock> block = std::make_unique<util::PublishedBlock>();
    CRingBuffer log;

    Block() {
        block->head.mark = util::kPublishedMark;
        log.Init(block->log, sizeof block->log);
    }

    char* bytes() const { return reinterpret_cast<char*>(block.get()); }

    // Mostly writes to places that have a meaning.
    void scribble(Input& input) {
        constexpr std::size_t kSnapshotEnd = offsetof(util::PublishedBlock, log);
        const auto place = input.take<std::uint16_t>() % (kSnapshotEnd + 256);
        const auto value = input.take<std::uint64_t>();
        std::memcpy(bytes() + place, &value, sizeof value);
    }

    void addRecord(Input& input) {
        char record[sizeof(util::PublishedMessage) + 255] = "";
        const std::size_t length = input.take<std::uint8_t>() + (input.take<std::uint8_t>() % 2) *
                                                                    sizeof(util::PublishedMessage);
        for (std::size_t i = 0; i < length; i += 8) {
            const auto part = input.take<std::uint64_t>();
            std::memcpy(record + i, &part, std::min(length - i, sizeof part));
        }
        log.PushStart(static_cast<unsigned long>(length));
        log.PushData(record, static_cast<unsigned long>(length));
        log.PushStop();
    }
};

void checkRows(const std::string& picture) {
    std::size_t columns = 0;
    for (const char c : picture) {
        const auto byte = static_cast<unsigned char>(c);
        require(byte == '\n' || (byte >= 0x20 && byte != 0x7F));
        columns = byte == '\n' ? 0 : columns + ((byte & 0xC0U) != 0x80 ? 1 : 0);
        require(columns <= 80);
    }
}

void look(PublishedView& view, Input& input) {
    Look seen{{"fuzz", 1}, input.take<std::uint8_t>() % 2 == 0, {}, 0, {}};
    if (const auto snapshot = view.snapshot()) {
        seen.snapshot = *snapshot;
    }
    for (int i = 0; i < 30; ++i) {
        if (auto line = view.nextLine()) {
            seen.lines.push_back(std::move(*line));
        }
    }
    checkRows(pictureOf(seen, false, std::nullopt));
    const std::string json = jsonOf(seen);
    require(std::ranges::none_of(
        json, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, std::min<std::size_t>(size, 4000));
    Block block;
    std::unique_ptr<PublishedView> view;
    while (!input.isEmpty()) {
        switch (input.take<std::uint8_t>() % 4) {
        case 0:
            block.scribble(input);
            break;
        case 1:
            try {
                view = std::make_unique<PublishedView>(block.bytes(), sizeof(util::PublishedBlock));
            } catch (const Failure&) {
                view = nullptr;
            }
            break;
        case 2:
            block.addRecord(input);
            break;
        default:
            if (view != nullptr) {
                look(*view, input);
            }
        }
    }
    return 0;
}

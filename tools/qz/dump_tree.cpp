#include "dump_forms.h"
#include "printable.h"
#include "terminal.h"

#include <algorithm>

namespace {

using Bytes = std::span<const unsigned char>;

constexpr std::size_t kBytesInLine = 16;

std::string countOf(std::size_t count, const char* what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

// The bytes as numbers, and as characters where they are printable.
std::string lineOf(Bytes bytes) {
    std::string numbers = hexOf(bytes, " ");
    std::string characters;
    for (const unsigned char byte : bytes) {
        characters += byte >= ' ' && byte < 0x7F ? static_cast<char>(byte) : '.';
    }
    numbers.resize(kBytesInLine * 3, ' ');
    return numbers + ' ' + characters;
}

// Walks with a list instead of recursion, because a file may be as deep as it is long.
class Tree {
public:
    Tree(const SavedFile& file, const DumpLimits& limits)
        : file_(file), limits_(limits), isShown_(file.count()) {}

    void print() {
        show(0, 0);
        // Objects that were too deep where they were first referred to.
        for (std::size_t number = 1; number < file_.count(); ++number) {
            if (!isShown_[number]) {
                show(number, 1);
            }
        }
    }

private:
    // An object with references that are still to be shown.
    struct Open {
        std::size_t number;
        std::size_t next;
    };

    void show(std::size_t number, std::size_t depth) {
        depth_ = depth;
        line(titleOf(number));
        open(number);
        while (!open_.empty()) {
            const auto references = file_.record(open_.back().number).getReferences();
            const std::size_t next = open_.back().next++;
            if (next == references.size()) {
                open_.pop_back();
                --depth_;
            } else {
                showReference(SavedFile::numberOf(references[next]));
            }
        }
    }

    void showReference(std::size_t number) {
        if (number == 0) {
            line("-> null");
        } else if (isShown_[number]) {
            line("-> #" + std::to_string(number));
        } else if (depth_ > limits_.depth) {
            line("-> #" + std::to_string(number) + ", below");
        } else {
            line(titleOf(number));
            open(number);
        }
    }

    // What is printed next is within the object.
    void open(std::size_t number) {
        isShown_[number] = true;
        open_.push_back({number, 0});
        ++depth_;
        const Bytes bytes = file_.record(number).getBytes();
        const Bytes visible = bytes.first(std::min(bytes.size(), limits_.bytes));
        for (std::size_t i = 0; i < visible.size(); i += kBytesInLine) {
            line(lineOf(visible.subspan(i, std::min(kBytesInLine, visible.size() - i))));
        }
        if (visible.size() < bytes.size()) {
            line("... " + std::to_string(bytes.size() - visible.size()) + " more");
        }
    }

    std::string titleOf(std::size_t number) const {
        const Common::Record& record = file_.record(number);
        const std::string what = number == 0
                                     ? countOf(file_.count() - 1, "object") + ", version " +
                                           std::to_string(file_.version())
                                     : '#' + std::to_string(number) + ' ' +
                                           shown(record.getClassIdentifier().getClassName()) +
                                           ", version " + std::to_string(record.getVersion());
        return what + ", " + countOf(record.getBytes().size(), "byte") + ", " +
               countOf(record.getReferences().size(), "reference");
    }

    void line(const std::string& text) const {
        ::print(std::string(2 * depth_, ' ') + text + '\n');
    }

    const SavedFile& file_;
    const DumpLimits& limits_;
    std::vector<bool> isShown_;
    std::vector<Open> open_;
    std::size_t depth_ = 0;
};

} // namespace

std::string hexOf(Bytes bytes, std::string_view between) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * (2 + between.size()));
    for (const unsigned char byte : bytes) {
        text += text.empty() ? "" : between;
        text += {kDigits[byte >> 4U], kDigits[byte & 15U]};
    }
    return text;
}

void printTree(const SavedFile& file, const DumpLimits& limits) {
    Tree(file, limits).print();
}

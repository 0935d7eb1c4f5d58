#include "dump_forms.h"
#include "field_text.h"
#include "printable.h"
#include "terminal.h"

#include <algorithm>
#include <optional>

namespace {

using Common::Field;
using Common::FieldKind;

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

// A group or list of plain numbers is printed in one line.
bool isOfNumbers(const Field& field) {
    const auto isPlain = [](const Field& inner) {
        return inner.name.empty() && isNumber(inner.kind);
    };
    return !field.varies && !field.fields.empty() && std::ranges::all_of(field.fields, isPlain);
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
        std::size_t depth; // of what is in it
        std::optional<FieldWalk> walk;
    };

    void show(std::size_t number, std::size_t depth) {
        depth_ = depth;
        line(titleOf(number));
        open(number);
        while (!open_.empty()) {
            if (open_.back().walk) {
                showField(open_.back());
            } else {
                showReferenceOrClose();
            }
        }
    }

    void showReferenceOrClose() {
        Open& open = open_.back();
        if (open.next == file_.record(open.number).getReferences().size()) {
            open_.pop_back();
            --depth_;
        } else {
            showReference(open, "");
        }
    }

    // What it leads to stands here if it was not shown before. Leaves nothing of what is open.
    void showReference(Open& from, const std::string& label) {
        const auto references = file_.record(from.number).getReferences();
        const std::size_t number = SavedFile::numberOf(references[from.next++]);
        if (number == 0) {
            line(label + "-> null");
        } else if (isShown_[number]) {
            line(label + "-> #" + std::to_string(number));
        } else if (open_.front().depth - 1 + open_.size() > limits_.depth) {
            line(label + "-> #" + std::to_string(number) + ", below");
        } else {
            line(label + titleOf(number));
            open(number);
        }
    }

    void showField(Open& open) {
        FieldWalk& walk = *open.walk;
        switch (walk.next()) {
        case FieldWalk::Step::kEnd:
            depth_ = open.depth;
            showBytes(walk.rest());
            open.walk.reset();
            break;
        case FieldWalk::Step::kClose:
            --depth_;
            break;
        case FieldWalk::Step::kBegin:
            showBegin(walk);
            break;
        case FieldWalk::Step::kValue:
            line(labelOf(walk) + ' ' + textOf(walk));
            break;
        case FieldWalk::Step::kAbsent:
            line(labelOf(walk) + " none");
            break;
        case FieldWalk::Step::kReference:
            showReference(open, labelOf(walk) + ' ');
            break;
        }
    }

    void showBegin(FieldWalk& walk) {
        const bool isList = walk.field().kind == FieldKind::kList;
        const std::string label = labelOf(walk);
        if (isOfNumbers(walk.field()) && (!isList || walk.count() > 0)) {
            line(label + ' ' + numbersIn(walk));
        } else {
            line(label + (isList ? ' ' + countOf(walk.count(), "item") : ""));
            ++depth_;
        }
    }

    // Goes to the end of the group or list that has begun.
    std::string numbersIn(FieldWalk& walk) const {
        std::string text;
        std::size_t count = 0;
        while (walk.next() == FieldWalk::Step::kValue) {
            if (count++ < limits_.bytes) {
                text += (text.empty() ? "" : ", ") + textOf(walk);
            }
        }
        return count <= limits_.bytes
                   ? text
                   : text + ", ... " + std::to_string(count - limits_.bytes) + " more";
    }

    static std::string labelOf(const FieldWalk& walk) {
        if (walk.item() != 0) {
            return '[' + std::to_string(walk.item() - 1) + "]:";
        }
        if (walk.name().empty()) {
            return "-";
        }
        const std::string type(typeOf(walk.field()));
        return shown(walk.name()) + (type.empty() ? ":" : " (" + type + "):");
    }

    std::string textOf(const FieldWalk& walk) const {
        const Field& field = walk.field();
        const Bytes bytes = walk.value();
        if (isNumber(field.kind)) {
            return numberOf(field.kind, bytes);
        }
        if (field.element != FieldKind::kCharacter) {
            return numbersOf(field, bytes, limits_.bytes);
        }
        const Bytes visible = bytes.first(std::min(bytes.size(), limits_.bytes));
        return quoted({reinterpret_cast<const char*>(visible.data()), visible.size()}) +
               moreThan(visible.size(), bytes.size());
    }

    static std::string moreThan(std::size_t printed, std::size_t count) {
        return printed == count ? "" : "... " + std::to_string(count - printed) + " more";
    }

    // What is printed next is within the object.
    void open(std::size_t number) {
        isShown_[number] = true;
        open_.push_back({number, 0, ++depth_, {}});
        const Common::Record& record = file_.record(number);
        if (const Field* const fields = file_.fieldsOf(number)) {
            open_.back().walk.emplace(*fields, record.getBytes(), record.getReferences().size());
        } else {
            showBytes(record.getBytes());
        }
    }

    void showBytes(Bytes bytes) const {
        const Bytes visible = bytes.first(std::min(bytes.size(), limits_.bytes));
        for (std::size_t i = 0; i < visible.size(); i += kBytesInLine) {
            line(lineOf(visible.subspan(i, std::min(kBytesInLine, visible.size() - i))));
        }
        if (visible.size() < bytes.size()) {
            line(moreThan(visible.size(), bytes.size()));
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

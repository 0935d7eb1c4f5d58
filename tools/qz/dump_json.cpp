#include "dump_forms.h"
#include "field_text.h"
#include "terminal.h"

#include "core/json_text.h"

#include <algorithm>
#include <map>
#include <utility>

namespace {

using Common::Field;
using Common::FieldKind;
using References = std::span<const Common::Ref<Common::Identifiable>>;

std::string referenceOf(const Common::Ref<Common::Identifiable>& reference) {
    const std::size_t number = SavedFile::numberOf(reference);
    return number == 0 ? "null" : std::to_string(number);
}

// Prints in pieces, because a small file may have a large output: each item of a list repeats the
// names.
class Output {
public:
    Output& operator+=(std::string_view text) {
        text_ += text;
        if (text_.size() >= kPiece) {
            flush();
        }
        return *this;
    }

    void flush() {
        print(text_);
        text_.clear();
    }

private:
    static constexpr std::size_t kPiece = 64 << 10;

    std::string text_;
};

// The next bytes of a long row, whose numbers are no longer than a piece.
Bytes sliceOf(Bytes bytes, std::size_t from) {
    constexpr std::size_t kSlice = 4096; // whole elements
    return bytes.subspan(from).first(std::min(kSlice, bytes.size() - from));
}

void addRaw(Output& output, Bytes bytes, References references) {
    output += R"("bytes": ")";
    for (std::size_t at = 0; at < bytes.size(); at += sliceOf(bytes, at).size()) {
        output += hexOf(sliceOf(bytes, at));
    }
    output += R"(", "references": [)";
    const char* separator = "";
    for (const auto& reference : references) {
        output += std::exchange(separator, ", ");
        output += referenceOf(reference);
    }
    output += "]";
}

// Fields without names are an array; among others they go by their place.
class FieldsJson {
public:
    FieldsJson(Output& output, const Field& fields, const Common::Record& record)
        : output_(output)
        , fields_(fields)
        , walk_(fields, record.getBytes(), record.getReferences().size())
        , references_(record.getReferences()) {}

    // And what they do not tell.
    void add() {
        output_ += "\"fields\": ";
        begin(fields_);
        while (takeStep()) {
        }
        while (!open_.empty()) {
            close();
        }
        if (!walk_.rest().empty() || !references_.empty()) {
            output_ += ", ";
            addRaw(output_, walk_.rest(), references_);
        }
    }

private:
    struct Open {
        bool isArray;
        std::size_t done = 0;
        std::map<std::string, std::size_t> names; // and keys, with how often they came
    };

    bool takeStep() {
        switch (walk_.next()) {
        case FieldWalk::Step::kEnd:
            return false;
        case FieldWalk::Step::kClose:
            close();
            break;
        case FieldWalk::Step::kBegin:
            addKey();
            begin(walk_.field());
            break;
        case FieldWalk::Step::kValue:
            addKey();
            addValue(walk_.field(), walk_.value());
            break;
        case FieldWalk::Step::kAbsent:
            addKey();
            output_ += "null";
            break;
        case FieldWalk::Step::kReference:
            addKey();
            addReference();
            break;
        }
        return true;
    }

    void begin(const Field& field) {
        const bool isArray =
            field.kind == FieldKind::kList ||
            std::ranges::all_of(field.fields, [](const Field& one) { return one.name.empty(); });
        open_.push_back({isArray, 0, {}});
        output_ += isArray ? "[" : "{";
    }

    void close() {
        output_ += open_.back().isArray ? "]" : "}";
        open_.pop_back();
    }

    void addKey() {
        Open& open = open_.back();
        output_ += open.done++ == 0 ? "" : ", ";
        if (open.isArray) {
            return;
        }
        output_ += core::jsonText(keyOf(open)) + ": ";
    }

    // A name comes again if a class has what its base has, too; it then gets its number.
    std::string keyOf(Open& open) {
        const std::string name =
            walk_.name().empty() ? std::to_string(open.done - 1) : walk_.name();
        std::string key = name;
        while (!open.names.emplace(key, 1).second) {
            key = name + '\'' + std::to_string(++open.names[name]);
        }
        return key;
    }

    // An object, so that it is not taken for a number.
    void addReference() {
        const std::string number = referenceOf(references_.front());
        output_ += references_.front() ? "{\"object\": " + number + '}' : number;
        references_ = references_.subspan(1);
    }

    void addValue(const Field& field, Bytes bytes) {
        if (isNumber(field.kind)) {
            output_ += numberOf(field.kind, bytes);
        } else if (field.element == FieldKind::kCharacter) {
            output_ += core::jsonText({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        } else {
            addRow(field, bytes);
        }
    }

    void addRow(const Field& row, Bytes bytes) {
        output_ += "[";
        for (std::size_t at = 0; at < bytes.size(); at += sliceOf(bytes, at).size()) {
            output_ += at == 0 ? "" : ", ";
            output_ += numbersOf(row, sliceOf(bytes, at), bytes.size());
        }
        output_ += "]";
    }

    Output& output_;
    const Field& fields_;
    FieldWalk walk_;
    References references_;
    std::vector<Open> open_;
};

void addContents(Output& output, const SavedFile& file, std::size_t number) {
    const Common::Record& record = file.record(number);
    if (const Field* const fields = file.fieldsOf(number)) {
        FieldsJson(output, *fields, record).add();
    } else {
        addRaw(output, record.getBytes(), record.getReferences());
    }
}

void addObject(Output& output, const SavedFile& file, std::size_t number) {
    const Common::Record& record = file.record(number);
    output += "{\"number\": " + std::to_string(number) +
              ", \"class\": " + core::jsonText(record.getClassIdentifier().getClassName()) +
              ", \"version\": " + std::to_string(record.getVersion()) + ", ";
    addContents(output, file, number);
    output += "}";
}

} // namespace

void printJson(const SavedFile& file) {
    Output output;
    output += "{\"version\": " + std::to_string(file.version()) + ", ";
    addContents(output, file, 0);
    output += ", \"objects\": [";
    const char* separator = "\n";
    for (std::size_t number = 1; number < file.count(); ++number) {
        output += std::exchange(separator, ",\n");
        addObject(output, file, number);
    }
    output += "]}\n";
    output.flush();
}

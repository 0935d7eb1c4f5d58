#include "dump_forms.h"
#include "field_text.h"
#include "json.h"
#include "terminal.h"

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

std::string rawOf(Bytes bytes, References references) {
    std::string text = R"("bytes": ")" + hexOf(bytes) + R"(", "references": [)";
    const char* separator = "";
    for (const auto& reference : references) {
        text += std::exchange(separator, ", ");
        text += referenceOf(reference);
    }
    return text += ']';
}

// Fields without names are an array; among others they go by their place.
class FieldsJson {
public:
    FieldsJson(const Field& fields, const Common::Record& record)
        : walk_(fields, record.getBytes(), record.getReferences().size())
        , references_(record.getReferences()) {
        begin(fields);
    }

    // And what they do not tell.
    std::string text() {
        while (takeStep()) {
        }
        while (!open_.empty()) {
            close();
        }
        std::string text = "\"fields\": " + text_;
        if (!walk_.rest().empty() || !references_.empty()) {
            text += ", " + rawOf(walk_.rest(), references_);
        }
        return text;
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
            text_ += valueOf(walk_.field(), walk_.value());
            break;
        case FieldWalk::Step::kAbsent:
            addKey();
            text_ += "null";
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
        text_ += isArray ? '[' : '{';
    }

    void close() {
        text_ += open_.back().isArray ? ']' : '}';
        open_.pop_back();
    }

    void addKey() {
        Open& open = open_.back();
        text_ += open.done++ == 0 ? "" : ", ";
        if (open.isArray) {
            return;
        }
        text_ += jsonString(keyOf(open)) + ": ";
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
        text_ += references_.front() ? "{\"object\": " + number + '}' : number;
        references_ = references_.subspan(1);
    }

    static std::string valueOf(const Field& field, Bytes bytes) {
        if (isNumber(field.kind)) {
            return numberOf(field.kind, bytes);
        }
        if (field.element == FieldKind::kCharacter) {
            return jsonString({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        }
        return '[' + numbersOf(field, bytes, bytes.size()) + ']';
    }

    FieldWalk walk_;
    References references_;
    std::vector<Open> open_;
    std::string text_;
};

std::string contentsOf(const SavedFile& file, std::size_t number) {
    const Common::Record& record = file.record(number);
    const Field* const fields = file.fieldsOf(number);
    return fields == nullptr ? rawOf(record.getBytes(), record.getReferences())
                             : FieldsJson(*fields, record).text();
}

std::string objectOf(const SavedFile& file, std::size_t number) {
    const Common::Record& record = file.record(number);
    return "{\"number\": " + std::to_string(number) +
           ", \"class\": " + jsonString(record.getClassIdentifier().getClassName()) +
           ", \"version\": " + std::to_string(record.getVersion()) + ", " +
           contentsOf(file, number) + "}";
}

} // namespace

void printJson(const SavedFile& file) {
    print("{\"version\": " + std::to_string(file.version()) + ", " + contentsOf(file, 0) +
          ", \"objects\": [");
    const char* separator = "\n";
    for (std::size_t number = 1; number < file.count(); ++number) {
        print(std::exchange(separator, ",\n") + objectOf(file, number));
    }
    print("]}\n");
}

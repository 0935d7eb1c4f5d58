#include "dump_forms.h"
#include "json.h"
#include "terminal.h"

#include <utility>

namespace {

std::string contentsOf(const Common::Record& record) {
    std::string text = "\"bytes\": \"" + hexOf(record.getBytes()) + "\", \"references\": [";
    const char* separator = "";
    for (const auto& reference : record.getReferences()) {
        const std::size_t number = SavedFile::numberOf(reference);
        text += std::exchange(separator, ", ");
        text += number == 0 ? "null" : std::to_string(number);
    }
    return text += ']';
}

std::string objectOf(const SavedFile& file, std::size_t number) {
    const Common::Record& record = file.record(number);
    return "{\"number\": " + std::to_string(number) +
           ", \"class\": " + jsonString(record.getClassIdentifier().getClassName()) +
           ", \"version\": " + std::to_string(record.getVersion()) + ", " + contentsOf(record) +
           "}";
}

} // namespace

void printJson(const SavedFile& file) {
    print("{\"version\": " + std::to_string(file.version()) + ", " + contentsOf(file.record(0)) +
          ", \"objects\": [");
    const char* separator = "\n";
    for (std::size_t number = 1; number < file.count(); ++number) {
        print(std::exchange(separator, ",\n") + objectOf(file, number));
    }
    print("]}\n");
}

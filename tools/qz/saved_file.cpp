#include "saved_file.h"

#include "failure.h"
#include "input.h"

#include <utility>

// Objects that refer to each other in a cycle would keep each other alive.
SavedFile::~SavedFile() {
    for (const Record& record : records_) {
        record->letGo();
    }
}

void SavedFile::load(const std::string& name) {
    InputStream stream(name);
    Common::FactoryManager noFactories;
    Common::CommonSerializer::Limits limits;
    limits.keepsUnknown = true;
    Common::CommonSerializer serializer(stream, noFactories, limits);
    const Record whole(new Common::Record("", 0));
    whole->serialize(serializer);
    const bool isLoaded = serializer.finish();
    findRecords(whole);
    stream.check();
    if (!isLoaded) {
        throw Failure(name + ": " + serializer.getError());
    }
    version_ = serializer.getVersion();
    for (Common::FieldsOfClass& one : serializer.getFields()) {
        if (!fieldsOfWhole_) {
            fieldsOfWhole_ = std::move(one.values);
        } else {
            fields_.try_emplace({one.className, one.version}, std::move(one.values));
        }
    }
}

// An object that is not yet in the list has the next number.
void SavedFile::findRecords(const Record& whole) {
    records_.push_back(whole);
    for (std::size_t i = 0; i < records_.size(); ++i) {
        for (const auto& reference : record(i).getReferences()) {
            if (numberOf(reference) == records_.size()) {
                records_.emplace_back(static_cast<Common::Record*>(reference.get()));
            }
        }
    }
}

const Common::Field* SavedFile::fieldsOf(std::size_t number) const {
    if (number == 0) {
        return fieldsOfWhole_ ? &*fieldsOfWhole_ : nullptr;
    }
    const Common::Record& object = record(number);
    const auto found =
        fields_.find({object.getClassIdentifier().getClassName(), object.getVersion()});
    return found == fields_.end() ? nullptr : &found->second;
}

std::size_t SavedFile::numberOf(const Common::Ref<Common::Identifiable>& reference) {
    const auto* const object = static_cast<const Common::Record*>(reference.get());
    return object == nullptr ? 0 : object->getNumber();
}

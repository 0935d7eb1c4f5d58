// A file of saved objects, read without the program's classes.
#pragma once

#include "Serial/Record.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class SavedFile {
public:
    SavedFile() = default;
    ~SavedFile();
    SavedFile(const SavedFile&) = delete;
    SavedFile& operator=(const SavedFile&) = delete;

    // Call it once. Throws Failure.
    void load(const std::string& name);

    // The version of the saved data as a whole.
    std::uint32_t version() const { return version_; }

    // Record 0 has the values outside of objects, the others are the objects, by their numbers.
    std::size_t count() const { return records_.size(); }
    const Common::Record& record(std::size_t number) const { return *records_[number]; }

    // What is in the record, null if the file does not say it.
    const Common::Field* fieldsOf(std::size_t number) const;

    // 0 for null.
    static std::size_t numberOf(const Common::Ref<Common::Identifiable>& reference);

private:
    using Record = Common::Ref<Common::Record>;

    void findRecords(const Record& whole);

    std::uint32_t version_ = 0;
    std::vector<Record> records_;
    std::optional<Common::Field> fieldsOfWhole_;
    std::map<std::pair<std::string, std::uint32_t>, Common::Field> fields_; // by class and version
};

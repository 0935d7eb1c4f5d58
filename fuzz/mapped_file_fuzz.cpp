// Any bytes as a mapped file: its lines are those that a simple search finds, and changes to a copy
// stay in memory.
#include "require.h"

#include "Shm/MappedFile.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

constexpr char kBreaks[] = "\r\n";

// A file for this process only, removed at its end.
class Sample {
public:
    Sample()
        : name_(std::filesystem::temp_directory_path() /
                ("mapped_file_fuzz." + std::to_string(getpid()))) {}
    ~Sample() { std::remove(name_.c_str()); }
    Sample(const Sample&) = delete;
    Sample& operator=(const Sample&) = delete;

    const char* name() const { return name_.c_str(); }

    void write(std::string_view bytes) const {
        std::FILE* const file = std::fopen(name(), "wb");
        require(file != nullptr &&
                std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size());
        std::fclose(file);
    }

private:
    std::string name_;
};

void compareLines(const misc::mmf& file, std::string_view bytes) {
    unsigned int pos = 0;
    int length = 0;
    std::size_t place = 0;
    while (const char* line = file.getline(pos, length)) {
        const std::size_t end = std::min(bytes.find_first_of(kBreaks, place), bytes.size());
        require(std::string_view(line, static_cast<std::size_t>(length)) ==
                bytes.substr(place, end - place));
        place = std::min(bytes.find_first_not_of(kBreaks, end), bytes.size());
        require(pos == place);
    }
    require(place == bytes.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Sample sample;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    sample.write(bytes);
    compareLines(misc::mmf(sample.name(), true), bytes);

    misc::mmf copy;
    require(copy.open_copyaccess(sample.name(), size == 0 ? 0 : data[0] % 3));
    compareLines(copy, bytes);
    if (size > 0 && data[0] % 3 != 0) {
        std::fill(copy.view, copy.view + std::min<std::size_t>(size, 65536), 'x');
    }
    compareLines(misc::mmf(sample.name(), false), bytes);
    return 0;
}

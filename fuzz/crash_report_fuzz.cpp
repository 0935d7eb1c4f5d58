// Any bytes as a crash report: retracing ends, and the copy has every line of the report.
#include "require.h"

#include "Core/CrashReport.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

namespace fs = std::filesystem;

// A folder for this process only, so that several can run.
const fs::path& folder() {
    static const fs::path path = [] {
        std::string name = (fs::temp_directory_path() / "qz-crash-fuzz-XXXXXX").string();
        require(mkdtemp(name.data()) != nullptr);
        return fs::path(name);
    }();
    return path;
}

std::string read(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    require(file.good());
    return {std::istreambuf_iterator<char>(file), {}};
}

// Counts a last line without line feed too, because the copy ends it.
std::ptrdiff_t linesOf(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n') +
           (!text.empty() && text.back() != '\n' ? 1 : 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fs::path report = folder() / "fuzz.crash";
    const fs::path copy = folder() / "fuzz.crash.info";
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::ofstream(report, std::ios::binary) << text;
    fs::remove(copy);
    require(bt_retrace((folder().string() + "/").c_str()) == 1);
    require(linesOf(read(copy)) == linesOf(text));
    require(bt_retrace((folder().string() + "/").c_str()) == 0);
    return 0;
}

// Reads whole files from mounted directories and archives, compared with direct calls of PhysicsFS,
// which use its own allocator and archiver and read into memory from malloc. Also measures how
// mounting and looking up a name grow with an archive's entries.
#include "goals.h"

#include "VFS/Archive.h"

#include <benchmark/benchmark.h>
#include <physfs.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using bench::atMost;

constexpr bench::Goal kGoals[] = {
    atMost(1.05, "archive/loose/physfs/4096", "archive/loose/qz/4096"),
    atMost(1.05, "archive/stored/physfs/4096", "archive/stored/qz/4096"),
    atMost(1.05, "archive/deflated/physfs/4096", "archive/deflated/qz/4096"),
    atMost(1.05, "archive/loose/physfs/1048576", "archive/loose/qz/1048576"),
    atMost(1.05, "archive/stored/physfs/1048576", "archive/stored/qz/1048576"),
    atMost(1.05, "archive/deflated/physfs/1048576", "archive/deflated/qz/1048576"),
    atMost(1.05, "archive/loose/physfs/16777216", "archive/loose/qz/16777216"),
    atMost(1.05, "archive/stored/physfs/16777216", "archive/stored/qz/16777216"),
    atMost(1.05, "archive/deflated/physfs/16777216", "archive/deflated/qz/16777216"),
    atMost(0.2, "archive/mount/physfs/10000", "archive/mount/qz/10000"),
    atMost(20, "archive/mount/qz/10000", "archive/mount/qz/100000"),
    atMost(20, "archive/mount/qz/100000", "archive/mount/qz/1000000"),
    atMost(4, "archive/find/qz/10000", "archive/find/qz/1000000"),
};

constexpr std::int64_t kSizes[] = {4 << 10, 1 << 20, 16 << 20};
constexpr std::uint32_t kCounts[] = {10'000, 100'000, 1'000'000};

std::string archiveOf(std::uint32_t count) {
    return "empty" + std::to_string(count) + ".zip";
}

// Names are not sorted by folder; there is a folder for every hundred entries.
std::string entryName(std::uint32_t number, std::uint32_t count) {
    return "data/" + std::to_string(number % (count / 100)) + "/file" + std::to_string(number) +
           ".txt";
}

// Bytes of a zip archive.
class ZipWriter {
public:
    ZipWriter& number(std::uint64_t value, int width) {
        for (; width > 0; --width, value >>= 8) {
            bytes += static_cast<char>(value & 0xFF);
        }
        return *this;
    }

    // Each field as its value and its width in bytes.
    ZipWriter& record(const char* signature,
                      std::initializer_list<std::pair<std::uint64_t, int>> numbers) {
        bytes += signature;
        for (const auto& [value, width] : numbers) {
            number(value, width);
        }
        return *this;
    }

    std::string bytes;
};

// An archive of empty files, in the format for more than 65,535 entries.
std::string emptyFiles(std::uint32_t count) {
    ZipWriter data;
    ZipWriter directory;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::string name = entryName(i, count);
        const std::size_t at = data.bytes.size();
        data.record("PK\3\4", {{20, 2}, {0, 8}, {0, 8}, {0, 4}, {name.size(), 2}, {0, 2}});
        data.bytes += name;
        directory.record(
            "PK\1\2", {{20, 4}, {0, 8}, {0, 8}, {0, 4}, {name.size(), 2}, {0, 8}, {0, 4}, {at, 4}});
        directory.bytes += name;
    }
    const std::uint64_t start = data.bytes.size();
    const std::uint64_t size = directory.bytes.size();
    ZipWriter end;
    end.record("PK\6\6", {{44, 8}, {45, 4}, {0, 8}, {count, 8}, {count, 8}, {size, 8}, {start, 8}});
    end.record("PK\6\7", {{0, 4}, {start + size, 8}, {1, 4}});
    end.record("PK\5\6", {{0, 4}, {0xFFFFFFFF, 4}, {size, 4}, {0xFFFFFFFF, 4}, {0, 2}});
    return data.bytes + directory.bytes + end.bytes;
}

std::string nameOf(std::int64_t size) {
    return std::to_string(size) + ".txt";
}

// The same files loose and in archives, in a folder that is made the working directory.
class Samples {
public:
    Samples() : folder_((fs::temp_directory_path() / "qz_bench.XXXXXX").string()) {
        if (mkdtemp(folder_.data()) == nullptr) {
            std::perror(folder_.c_str());
            std::exit(1);
        }
        fs::current_path(folder_);
        fs::create_directories("Temp");
        fs::create_directories("loose");
        for (const std::int64_t size : kSizes) {
            writeText("loose/" + nameOf(size), size);
        }
        for (const std::uint32_t count : kCounts) {
            const std::string bytes = emptyFiles(count);
            std::ofstream(archiveOf(count), std::ios::binary)
                .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        }
        run("cd loose && zip -q -0 ../stored.zip *.txt && zip -q -6 ../deflated.zip *.txt");
    }
    ~Samples() {
        fs::current_path("/");
        fs::remove_all(folder_);
    }
    Samples(const Samples&) = delete;
    Samples& operator=(const Samples&) = delete;

private:
    // Numbers as text, about as compressible as settings and scripts.
    static void writeText(const std::string& path, std::int64_t size) {
        std::string text;
        for (std::uint32_t seed = 1; text.size() < static_cast<std::size_t>(size);) {
            seed = seed * 1664525 + 1013904223;
            text += "value = " + std::to_string(seed % 100000) + ",\n";
        }
        std::ofstream(path, std::ios::binary).write(text.data(), size);
    }

    static void run(const char* command) {
        if (std::system(command) != 0) {
            std::fprintf(stderr, "failed: %s\n", command);
            std::exit(1);
        }
    }

    std::string folder_;
};

// Keeps the library's messages about mounting out of the results.
class Quiet {
public:
    Quiet() : kept_(dup(STDERR_FILENO)) {
        const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(null, STDERR_FILENO);
        close(null);
    }
    ~Quiet() {
        dup2(kept_, STDERR_FILENO);
        close(kept_);
    }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

private:
    int kept_;
};

struct Library {
    explicit Library(const char* path) {
        const Quiet quiet;
        vfs_init();
        vfs_mount(path, "/", 1);
    }
    ~Library() { vfs_deinit(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    static std::uint64_t read(const char* name) {
        std::uint64_t size = 0;
        void* buffer = vfs_read_file(name, &size);
        benchmark::DoNotOptimize(buffer);
        vfs_free_file_buffer(buffer);
        return size;
    }
};

struct PhysicsFs {
    explicit PhysicsFs(const char* path) {
        PHYSFS_init(nullptr);
        PHYSFS_mount("./Temp", "/tmp/", 1);
        PHYSFS_mount(path, "/", 1);
    }
    ~PhysicsFs() { PHYSFS_deinit(); }
    PhysicsFs(const PhysicsFs&) = delete;
    PhysicsFs& operator=(const PhysicsFs&) = delete;

    static std::uint64_t read(const char* name) {
        PHYSFS_File* file = PHYSFS_openRead(name);
        if (file == nullptr) {
            return 0;
        }
        const auto length = static_cast<std::uint64_t>(PHYSFS_fileLength(file));
        void* buffer = std::malloc(length);
        const PHYSFS_sint64 size = PHYSFS_readBytes(file, buffer, length);
        PHYSFS_close(file);
        benchmark::DoNotOptimize(buffer);
        std::free(buffer);
        return static_cast<std::uint64_t>(size);
    }
};

template<class Mounter>
void mountAndUnmount(benchmark::State& state) {
    const std::string path = archiveOf(static_cast<std::uint32_t>(state.range(0)));
    for (auto _ : state) {
        const Mounter mounter(path.c_str());
    }
}

void find(benchmark::State& state) {
    const auto count = static_cast<std::uint32_t>(state.range(0));
    const Library library(archiveOf(count).c_str());
    std::vector<std::string> names(4096);
    for (std::uint32_t i = 0; i < names.size(); ++i) {
        names[i] = entryName(static_cast<std::uint32_t>(i * 2'654'435'761ULL % count), count);
    }
    std::size_t next = 0;
    for (auto _ : state) {
        if (vfs_get_kind(names[next++ % names.size()].c_str(), nullptr) != VFS_KIND_FILE) {
            state.SkipWithError("a name was not found");
            break;
        }
    }
}

template<class Reader>
void readWhole(benchmark::State& state, const char* path) {
    const Reader reader(path);
    const std::string name = nameOf(state.range(0));
    for (auto _ : state) {
        if (Reader::read(name.c_str()) != static_cast<std::uint64_t>(state.range(0))) {
            state.SkipWithError("the sample could not be read");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void add(const std::string& kind, const char* path) {
    const auto addOne = [&](const char* reader, void (*run)(benchmark::State&, const char*)) {
        const std::string name = "archive/" + kind + "/" + reader;
        auto* registered = benchmark::RegisterBenchmark(name.c_str(), run, path);
        for (const std::int64_t size : kSizes) {
            registered->Arg(size);
        }
    };
    addOne("qz", readWhole<Library>);
    addOne("physfs", readWhole<PhysicsFs>);
}

} // namespace

int main(int argc, char** argv) {
    const Samples samples;
    add("loose", "loose");
    add("stored", "stored.zip");
    add("deflated", "deflated.zip");
    // PhysicsFS's own index takes half a minute and more for the larger ones.
    benchmark::RegisterBenchmark("archive/mount/physfs", mountAndUnmount<PhysicsFs>)
        ->Arg(kCounts[0]);
    for (const std::uint32_t count : kCounts) {
        benchmark::RegisterBenchmark("archive/mount/qz", mountAndUnmount<Library>)->Arg(count);
        benchmark::RegisterBenchmark("archive/find/qz", find)->Arg(count);
    }
    return bench::run(argc, argv, kGoals);
}

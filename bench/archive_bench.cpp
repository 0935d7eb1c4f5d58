// Whole files from mounted directories and archives beside PhysicsFS called directly, which has its
// own allocator then and reads into memory from malloc.
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
#include <string>

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
};

constexpr std::int64_t kSizes[] = {4 << 10, 1 << 20, 16 << 20};

std::string nameOf(std::int64_t size) {
    return std::to_string(size) + ".txt";
}

// The same files loose and in archives, in a folder that is the working directory meanwhile.
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
        run("cd loose && zip -q -0 ../stored.zip *.txt && zip -q -6 ../deflated.zip *.txt");
    }
    ~Samples() {
        fs::current_path("/");
        fs::remove_all(folder_);
    }
    Samples(const Samples&) = delete;
    Samples& operator=(const Samples&) = delete;

private:
    // Numbers in digits: about as compressible as settings and scripts are.
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

// The library's messages about mounting would stand between the results.
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
    return bench::run(argc, argv, kGoals);
}

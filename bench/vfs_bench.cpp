// Reads whole files through the virtual file system, compared with system calls and the C library.
#include "goals.h"

#include "VFS/File.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

namespace {

using bench::atMost;

constexpr bench::Goal kGoals[] = {
    atMost(1.05, "file/system_checked/4096", "file/qz/4096"),
    bench::beside("file/system/4096", "file/qz/4096"),
    atMost(1.02, "file/system/1048576", "file/qz/1048576"),
    atMost(1.02, "file/system/67108864", "file/qz/67108864"),
};

// A file of zeros in the working directory for as long as a benchmark runs.
class SampleFile {
public:
    explicit SampleFile(const benchmark::State& state)
        : size_(static_cast<std::size_t>(state.range(0))), buffer_(size_) {
        VFS_File* file = VFS_open_write(path());
        VFS_write(file, buffer_.data(), size_);
        VFS_close(file);
    }
    ~SampleFile() { VFS_remove(path()); }
    SampleFile(const SampleFile&) = delete;
    SampleFile& operator=(const SampleFile&) = delete;

    const char* path() const { return "vfs_bench.sample"; }
    std::size_t size() const { return size_; }
    void* buffer() { return buffer_.data(); }

private:
    std::size_t size_;
    std::vector<char> buffer_;
};

// Runs a function that reads the whole sample and returns how much it read.
template<class Read>
void readSample(benchmark::State& state, Read read) {
    SampleFile sample(state);
    for (auto _ : state) {
        if (read(sample) != sample.size()) {
            state.SkipWithError("the sample could not be read");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

std::size_t readThroughLibrary(SampleFile& sample) {
    VFS_File* file = VFS_open_read(sample.path());
    const std::size_t done = VFS_read(file, sample.buffer(), sample.size());
    VFS_close(file);
    return done;
}

std::size_t readThroughSystem(SampleFile& sample) {
    const int file = open(sample.path(), O_RDONLY | O_CLOEXEC);
    const ssize_t done = read(file, sample.buffer(), sample.size());
    close(file);
    return static_cast<std::size_t>(done);
}

// With the additional call that refuses files which are not ordinary ones.
std::size_t readThroughSystemChecked(SampleFile& sample) {
    const int file = open(sample.path(), O_RDONLY | O_CLOEXEC);
    struct stat status;
    const bool ordinary = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    const ssize_t done = ordinary ? read(file, sample.buffer(), sample.size()) : 0;
    close(file);
    return static_cast<std::size_t>(done);
}

std::size_t readThroughCLibrary(SampleFile& sample) {
    std::FILE* file = std::fopen(sample.path(), "rb");
    const std::size_t done = std::fread(sample.buffer(), 1, sample.size(), file);
    std::fclose(file);
    return done;
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(4 << 10)->Arg(1 << 20)->Arg(64 << 20);
}

BENCHMARK_CAPTURE(readSample, qz, readThroughLibrary)->Name("file/qz")->Apply(sizes);
BENCHMARK_CAPTURE(readSample, system, readThroughSystem)->Name("file/system")->Apply(sizes);
BENCHMARK_CAPTURE(readSample, system_checked, readThroughSystemChecked)
    ->Name("file/system_checked")
    ->Arg(4 << 10);
BENCHMARK_CAPTURE(readSample, fread, readThroughCLibrary)->Name("file/fread")->Apply(sizes);

} // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, kGoals);
}

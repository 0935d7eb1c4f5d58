// Streams, compared with the calls that they use.
#include "goals.h"

#include "IO/FileStream.h"
#include "IO/MemoryStream.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace {

using bench::atMost;

constexpr bench::Goal kGoals[] = {
    atMost(1.05, "load/vfs/4096", "load/stream/4096"),
    atMost(1.05, "load/vfs/1048576", "load/stream/1048576"),
    atMost(1.05, "load/vfs/67108864", "load/stream/67108864"),
    atMost(0.2, "read4/vfs", "read4/stream"),
};

constexpr char kPath[] = "io_bench.sample";
constexpr std::size_t kSmallFile = 1 << 20;

void makeFile(std::size_t size) {
    const std::vector<char> bytes(size);
    VFS_File* const file = VFS_open_write(kPath);
    VFS_write(file, bytes.data(), bytes.size());
    VFS_close(file);
}

std::size_t loadByVfs(std::vector<char>& bytes) {
    VFS_File* const file = VFS_open_read(kPath);
    const std::size_t done = VFS_read(file, bytes.data(), bytes.size());
    VFS_close(file);
    return done;
}

std::size_t loadByStream(std::vector<char>& bytes) {
    io::FileStream file(kPath, io::FileStream::Mode::kRead);
    return file.read(bytes.data(), bytes.size());
}

template<class Load>
void load(benchmark::State& state, Load load) {
    const auto size = static_cast<std::size_t>(state.range(0));
    makeFile(size);
    std::vector<char> bytes(size);
    for (auto _ : state) {
        if (load(bytes) != size) {
            state.SkipWithError("the sample could not be read");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
    VFS_remove(kPath);
}

// Reads one number after another; at the end it starts again.
template<class Source, class Read, class Rewind>
void readNumbers(benchmark::State& state, Source& source, Read read, Rewind rewind) {
    std::uint32_t sum = 0;
    std::size_t done = 0;
    for (auto _ : state) {
        std::uint32_t number = 0;
        read(source, number);
        sum += number;
        if ((done += sizeof number) == kSmallFile) {
            rewind(source);
            done = 0;
        }
    }
    benchmark::DoNotOptimize(sum);
}

void read4ByVfs(benchmark::State& state) {
    makeFile(kSmallFile);
    VFS_File* file = VFS_open_read(kPath);
    readNumbers(
        state, file,
        [](VFS_File* from, std::uint32_t& number) { VFS_read(from, &number, sizeof number); },
        [](VFS_File* from) { VFS_seek(from, 0); });
    VFS_close(file);
    VFS_remove(kPath);
}

void readNumbersOf(benchmark::State& state, io::Stream& stream) {
    readNumbers(
        state, stream,
        [](io::Stream& from, std::uint32_t& number) { from.read(&number, sizeof number); },
        [](io::Stream& from) { from.seek(0); });
}

void read4ByStream(benchmark::State& state) {
    makeFile(kSmallFile);
    {
        io::FileStream file(kPath, io::FileStream::Mode::kRead);
        readNumbersOf(state, file);
    }
    VFS_remove(kPath);
}

void read4FromMemory(benchmark::State& state) {
    const std::vector<char> bytes(kSmallFile);
    io::BlockStream block(static_cast<const void*>(bytes.data()), bytes.size());
    readNumbersOf(state, block);
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(4 << 10)->Arg(1 << 20)->Arg(64 << 20);
}

BENCHMARK_CAPTURE(load, vfs, loadByVfs)->Name("load/vfs")->Apply(sizes);
BENCHMARK_CAPTURE(load, stream, loadByStream)->Name("load/stream")->Apply(sizes);
BENCHMARK(read4ByVfs)->Name("read4/vfs");
BENCHMARK(read4ByStream)->Name("read4/stream");
BENCHMARK(read4FromMemory)->Name("read4/block");

} // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, kGoals);
}

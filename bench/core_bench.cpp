// Log, containers and hashes, compared with their peers. See docs/performance.md.
#include "goals.h"

namespace {

using bench::atLeast;
using bench::atMost;

constexpr bench::Goal kGoals[] = {
    atMost(0.35, "log_call/spdlog/producers:1", "log_call/qz/producers:1", "p50"),
    atMost(0.10, "log_call/spdlog/producers:1", "log_call/qz/producers:1", "p99"),
    atMost(0.10, "log_call/spdlog/producers:1", "log_call/qz/producers:1", "p99.9"),
    atMost(0.35, "log_call/spdlog/producers:2", "log_call/qz/producers:2", "p50"),
    atMost(0.10, "log_call/spdlog/producers:2", "log_call/qz/producers:2", "p99"),
    atMost(0.10, "log_call/spdlog/producers:2", "log_call/qz/producers:2", "p99.9"),

    atLeast(2.5, "log_writer/spdlog_flushing", "log_writer/qz", "lines/s"),
    atLeast(3.0, "log_writer/spdlog", "log_writer/qz", "lines/s"),

    atMost(0.7, "gather/moodycamel/producers:1", "gather/qz/producers:1", "ns"),
    atMost(0.7, "gather/moodycamel/producers:2", "gather/qz/producers:2", "ns"),
    atMost(0.2, "gather/tbb/producers:2", "gather/qz/producers:2", "ns"),

    atMost(0.6, "stack/boost/threads:1", "stack/qz/threads:1"),
    atMost(1.25, "stack/two_cas/threads:1", "stack/qz/threads:1"),
    atMost(0.6, "stack/boost/threads:2", "stack/qz/threads:2"),
    atMost(1.25, "stack/two_cas/threads:2", "stack/qz/threads:2"),

    atLeast(0.97, "hash/chain/64", "hash/qz_data/64", "bytes_per_second"),
    atLeast(0.97, "hash/chain/4096", "hash/qz_data/4096", "bytes_per_second"),
    atLeast(1.0, "hash/loop/8", "hash/qz_data/8", "bytes_per_second"),
    atLeast(0.97, "hash/chain/64", "hash/qz_string/64", "bytes_per_second"),
    atLeast(0.97, "hash/chain/4096", "hash/qz_string/4096", "bytes_per_second"),
    atLeast(1.0, "hash/text_loop/8", "hash/qz_string/8", "bytes_per_second"),
};

} // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, kGoals);
}

// Settings by dotted path, and files of settings, compared with the same in Lua's C API.
#include "goals.h"

#include "Lua/Config.h"
#include "Lua/State.h"

#include <benchmark/benchmark.h>

#include <lua.hpp>

#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using bench::atMost;

constexpr bench::Goal kGoals[] = {
    atMost(1.1, "config/bare", "config/qz"),
    atMost(1.1, "load/bare", "load/qz"),
};

constexpr int kReads = 100'000;
constexpr int kNames = 12; // on each of four levels

std::string name(int level, int number) {
    static constexpr const char* kLevels[] = {"video", "window", "option", "value"};
    return kLevels[level] + std::to_string(number);
}

// Settings of four levels, and paths to random ones of them.
struct Settings {
    Settings() {
        lua_newtable(state.get());
        Lua::Config config(state.get());
        std::mt19937 random(1);
        const auto any = [&random] { return static_cast<int>(random() % kNames); };
        for (int i = 0; i < kReads; ++i) {
            paths.push_back(name(0, any()) + "." + name(1, any()) + "." + name(2, any()) + "." +
                            name(3, any()));
            lua_pushnumber(state.get(), 1);
            config.set(paths.back().c_str());
        }
    }

    std::unique_ptr<lua_State, decltype(&QZ_lua_close)> state{QZ_lua_open("bench"), QZ_lua_close};
    std::vector<std::string> paths;
};

// Reads all paths with a function that takes the state and a path and returns the number there.
void readAll(benchmark::State& state, double (*read)(lua_State*, const char*)) {
    static const Settings settings; // one for all: its place in memory matters
    for (auto _ : state) {
        double sum = 0;
        for (const std::string& path : settings.paths) {
            sum += read(settings.state.get(), path.c_str());
        }
        if (sum != kReads) {
            state.SkipWithError("a setting was not found");
        }
    }
    state.SetItemsProcessed(state.iterations() * kReads);
}

double readThroughLibrary(lua_State* state, const char* path) {
    Lua::Config config(state);
    double value = 0;
    config.get(path);
    config.pop(&value);
    return value;
}

// As careful as the library: only tables may be indexed.
void pushBare(lua_State* state, const char* path) {
    lua_pushvalue(state, -1);
    while (const char* const dot = std::strchr(path, '.')) {
        lua_pushlstring(state, path, static_cast<std::size_t>(dot - path));
        lua_gettable(state, -2);
        lua_remove(state, -2);
        if (!lua_istable(state, -1)) {
            return;
        }
        path = dot + 1;
    }
    lua_pushstring(state, path);
    lua_gettable(state, -2);
    lua_remove(state, -2);
}

double readBare(lua_State* state, const char* path) {
    pushBare(state, path);
    const double value = lua_isnumber(state, -1) != 0 ? lua_tonumber(state, -1) : 0;
    lua_pop(state, 1);
    return value;
}

BENCHMARK_CAPTURE(readAll, qz, readThroughLibrary)->Name("config/qz");
BENCHMARK_CAPTURE(readAll, bare, readBare)->Name("config/bare");

constexpr char kFile[] = "lua_config_bench.sample";
constexpr std::size_t kFileSize = 10'000'000;

// A settings file in the working directory for as long as a benchmark runs.
class SampleFile {
public:
    SampleFile() {
        std::string text = "settings = {}\n";
        for (int i = 1; text.size() < kFileSize; ++i) {
            text += "settings[" + std::to_string(i) + "] = {name = \"unit " +
                    std::to_string(i % 1000) + "\", position = {x = " + std::to_string(i % 97) +
                    ".5, y = " + std::to_string(i % 89) + "}, active = true}\n";
        }
        std::FILE* const file = std::fopen(kFile, "wb");
        std::fwrite(text.data(), 1, text.size(), file);
        std::fclose(file);
    }
    ~SampleFile() { std::remove(kFile); }
    SampleFile(const SampleFile&) = delete;
    SampleFile& operator=(const SampleFile&) = delete;
};

void loadFile(benchmark::State& state, bool (*load)()) {
    const SampleFile sample;
    for (auto _ : state) {
        if (!load()) {
            state.SkipWithError("the sample could not be loaded");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kFileSize));
}

bool loadThroughLibrary() {
    lua_State* const state = QZ_lua_open("bench");
    const bool loaded = Lua::Config(state).tmpload(kFile, false);
    QZ_lua_close(state);
    return loaded;
}

bool loadBare() {
    lua_State* const state = luaL_newstate();
    lua_newtable(state);
    bool loaded = luaL_loadfile(state, kFile) == 0;
    if (loaded) {
        lua_pushvalue(state, -2);
        lua_setfenv(state, -2);
        loaded = lua_pcall(state, 0, 0, 0) == 0;
    }
    lua_close(state);
    return loaded;
}

BENCHMARK_CAPTURE(loadFile, qz, loadThroughLibrary)->Name("load/qz")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(loadFile, bare, loadBare)->Name("load/bare")->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, kGoals);
}

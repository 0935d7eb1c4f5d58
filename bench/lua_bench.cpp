// Scripts in a state of this library, with its memory pool and the Lua that it was built with,
// compared with stock Lua 5.1 and the C library's realloc.
#include "goals.h"
#include "growth.h"

#include "Lua/Serializer.h"
#include "Lua/State.h"

#include <benchmark/benchmark.h>

#include <dlfcn.h>
#include <lua.hpp>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

#ifdef LUAJIT_VERSION
constexpr double kProportion = 0.4;
#else
constexpr double kProportion = 0.9;
#endif

constexpr bench::Goal kGoals[] = {
    bench::atMost(kProportion, "lua/stock/tables", "lua/qz/tables"),
    bench::atMost(kProportion, "lua/stock/strings", "lua/qz/strings"),
    bench::atMost(kProportion, "lua/stock/calls", "lua/qz/calls"),
    bench::atMost(1.5, "lua/stock/lines", "lua/qz/lines"),
    bench::atMost(1.5, "lua/stock/lines_2000", "lua/qz/lines_2000"),
    bench::growth(2.0, "lua/save_chain/1000", "lua/save_chain/100000"),
};

constexpr char kLines[] = "QZ_BENCH_LINES", kLongLines[] = "QZ_BENCH_LONG_LINES";

// Of the file whose path this variable of the environment has.
std::string linesScript(const char* variable) {
    return std::string("local path = os.getenv('") + variable + R"(')
    return function()
        local count = 0
        local file = io.open(path)
        for line in file:lines() do count = count + #line end
        file:close()
        return count
    end
)";
}

// Each script returns its work as a function, so that an iteration runs only the work.
constexpr char kTables[] = R"(
    return function()
        local units = {}
        for i = 1, 20000 do
            units[i] = {id = i, position = {x = i % 97, y = i % 89}, tags = {'a', i}}
        end
        local byColumn = {}
        for _, unit in ipairs(units) do
            local column = byColumn[unit.position.x] or {}
            column[#column + 1] = unit
            byColumn[unit.position.x] = column
        end
        for _, column in pairs(byColumn) do
            for i = #column, 1, -2 do table.remove(column) end
        end
        return #units + #byColumn
    end
)";

constexpr char kStrings[] = R"(
    return function()
        local lines, count = {}, 0
        for i = 1, 8000 do
            local name = 'unit_' .. i
            lines[i] = string.format('%s = %5.2f, "%s"', name, i / 7, name:upper():sub(1, 8))
            count = count + #(name .. ':' .. tostring(i / 3)) + #name:reverse()
        end
        for name, value in table.concat(lines, '\n'):gmatch('(unit_%d+) = +([%d.]+)') do
            count = count + #name + #value
        end
        return count
    end
)";

constexpr char kCalls[] = R"(
    local function fib(n) return n < 2 and n or fib(n - 1) + fib(n - 2) end
    local function compose(f, g) return function(...) return f(g(...)) end end
    local Counter = {}
    Counter.__index = Counter
    function Counter:add(n) self.value = self.value + n return self end
    return function()
        local sum = fib(20)
        for i = 1, 10000 do
            local twice = compose(function(x) return x + i end, function(x) return 2 * x end)
            sum = sum + twice(i) + select('#', unpack({i, i, i}))
            sum = sum + setmetatable({value = 0}, Counter):add(i):add(1).value
        end
        return sum
    end
)";

// This library's Lua is linked; the peer's is loaded at run time, because the two may be different
// libraries with the same names in them.
struct LinkedLua {
    static lua_State* open() {
        lua_State* const state = QZ_lua_open("bench");
        QZ_lua_openlibs(state);
        return state;
    }
    static void close(lua_State* state) { QZ_lua_close(state); }
    static constexpr auto loadstring = luaL_loadstring;
    static constexpr auto pcall = lua_pcall;
    static constexpr auto pushvalue = lua_pushvalue;
    static constexpr auto settop = lua_settop;
};

template<class Function>
void find(Function& function, const char* name) {
    static void* const library = dlopen("liblua5.1.so.0", RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);
    function = library != nullptr ? reinterpret_cast<Function>(dlsym(library, name)) : nullptr;
}

struct StockLua {
    static lua_State* open() {
        decltype(&luaL_newstate) newstate;
        decltype(&luaL_openlibs) openlibs;
        find(newstate, "luaL_newstate");
        find(openlibs, "luaL_openlibs");
        find(close, "lua_close");
        find(loadstring, "luaL_loadstring");
        find(pcall, "lua_pcall");
        find(pushvalue, "lua_pushvalue");
        find(settop, "lua_settop");
        if (newstate == nullptr) {
            return nullptr;
        }
        lua_State* const state = newstate();
        openlibs(state);
        return state;
    }
    static inline decltype(&lua_close) close;
    static inline decltype(&luaL_loadstring) loadstring;
    static inline decltype(&lua_pcall) pcall;
    static inline decltype(&lua_pushvalue) pushvalue;
    static inline decltype(&lua_settop) settop;
};

template<class Lua>
void runScript(benchmark::State& benchmark, const std::string& script) {
    lua_State* const state = Lua::open();
    if (state == nullptr) {
        benchmark.SkipWithError("no stock Lua 5.1 (liblua5.1.so.0)");
        return;
    }
    bool sound = Lua::loadstring(state, script.c_str()) == 0 && Lua::pcall(state, 0, 1, 0) == 0;
    for (auto _ : benchmark) {
        Lua::pushvalue(state, 1);
        sound = sound && Lua::pcall(state, 0, 1, 0) == 0;
        Lua::settop(state, 1);
    }
    if (!sound) {
        benchmark.SkipWithError("the script failed");
    }
    Lua::close(state);
}

template<class Lua>
void addScript(const char* name, const std::string& script) {
    benchmark::RegisterBenchmark(name, [script](benchmark::State& state) {
        runScript<Lua>(state, script);
    })->Unit(benchmark::kMillisecond);
}

// Tables nested in each other.
void saveChain(benchmark::State& benchmark) {
    lua_State* const state = LinkedLua::open();
    lua_newtable(state);
    lua_pushvalue(state, -1);
    lua_setglobal(state, "chain");
    for (std::int64_t i = 1; i < benchmark.range(0); ++i) {
        lua_newtable(state);
        lua_pushvalue(state, -1);
        lua_setfield(state, -3, "next");
        lua_remove(state, -2);
    }
    lua_settop(state, 0);
    for (auto _ : benchmark) {
        std::ostringstream out;
        Lua::Serializer(out).serialize(state, "chain");
    }
    bench::countEach(benchmark, benchmark.range(0));
    LinkedLua::close(state);
}

// 64 MiB in lines of one length. Both Luas get its path in the environment, because their scripts
// can open different files.
class LinesFile {
public:
    LinesFile(const char* variable, std::size_t length)
        : path_(std::filesystem::temp_directory_path() / variable) {
        std::ofstream file(path_, std::ios::binary);
        const std::string line = std::string(length, 'x') + '\n';
        for (std::size_t size = 0; size < (std::size_t{64} << 20); size += line.size()) {
            file << line;
        }
        setenv(variable, path_.c_str(), 1);
    }
    ~LinesFile() { std::filesystem::remove(path_); }
    LinesFile(const LinesFile&) = delete;
    LinesFile& operator=(const LinesFile&) = delete;

private:
    std::filesystem::path path_;
};

} // namespace

int main(int argc, char** argv) {
    const LinesFile lines(kLines, 44), longLines(kLongLines, 2000);
    addScript<LinkedLua>("lua/qz/tables", kTables);
    addScript<StockLua>("lua/stock/tables", kTables);
    addScript<LinkedLua>("lua/qz/strings", kStrings);
    addScript<StockLua>("lua/stock/strings", kStrings);
    addScript<LinkedLua>("lua/qz/calls", kCalls);
    addScript<StockLua>("lua/stock/calls", kCalls);
    addScript<LinkedLua>("lua/qz/lines", linesScript(kLines));
    addScript<StockLua>("lua/stock/lines", linesScript(kLines));
    addScript<LinkedLua>("lua/qz/lines_2000", linesScript(kLongLines));
    addScript<StockLua>("lua/stock/lines_2000", linesScript(kLongLines));
    benchmark::RegisterBenchmark("lua/save_chain", saveChain)->Apply(bench::threeSizes<1000>);
    return bench::run(argc, argv, kGoals);
}

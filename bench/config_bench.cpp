// Configuration files, compared with libraries for other languages: the same content, parsed into a
// tree, whose release is part of the measured time, and saved into memory.
#include "goals.h"

#include "Config/ConfigParser.h"

#include <benchmark/benchmark.h>

#include <libconfig.h>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <toml++/toml.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using bench::atMost;

constexpr bench::Goal kGoals[] = {
    atMost(0.25, "parse/libconfig/1", "parse/qz/1"), atMost(0.4, "parse/nlohmann/1", "parse/qz/1"),
    atMost(11, "parse/qz/1", "parse/qz/10"),         atMost(2.0, "parse/rapidjson/1", "parse/qz/1"),
    atMost(1.0, "parse/toml/1", "parse/qz/1"),       atMost(1.0, "save/nlohmann/1", "save/qz/1"),
    atMost(1.0, "save/libconfig/1", "save/qz/1"),
};

struct Unit {
    std::string name, title;
    int health, color[3];
    double speed, position[3];
    bool isActive;
};

std::vector<Unit> makeUnits(std::size_t count) {
    std::mt19937 random(1);
    const auto below = [&](unsigned int limit) { return static_cast<int>(random() % limit); };
    const auto real = [&] { return below(2'000'000) / 1000.0 - 1000; };
    std::vector<Unit> units(count);
    for (std::size_t i = 0; i < count; ++i) {
        units[i] = {"unit" + std::to_string(i),
                    "Unit \"" + std::to_string(below(1000)) + "\" of the line",
                    below(10000),
                    {below(256), below(256), below(256)},
                    real(),
                    {real(), real(), real()},
                    below(2) == 1};
    }
    return units;
}

// Units in a section; few, because one peer compares each entry's name with all names in its
// section.
constexpr std::size_t kUnitsOfSection = 16;

// How a language writes the common content.
struct Syntax {
    const char *begin, *open, *assign, *behindValue, *openList, *closeList, *close, *between, *end;
    const char* quote;
};

constexpr Syntax kQz = {"", "\r\n{\r\n", " = ", ";\r\n", "{", "}", "}\r\n", "", "", ""};
constexpr Syntax kLibconfig = {"", " :\n{\n", " = ", ";\n", "(", ")", "};\n", "", "", ""};
constexpr Syntax kToml = {"", "]\n", " = ", "\n", "[", "]", "\n", "", "", ""};
constexpr Syntax kJson = {"{", ": {\n", ": ", ",\n", "[", "]", "}\n", ",", "}", "\""};

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", value);
    return text;
}

std::string textOf(const std::vector<Unit>& units, const Syntax& syntax) {
    std::string text = syntax.begin;
    const auto value = [&](const char* name, const std::string& literal, bool isLast = false) {
        text += std::string("    ") + syntax.quote + name + syntax.quote + syntax.assign + literal;
        // The last member of a JSON object has no comma.
        text += isLast && *syntax.quote != 0 ? "\n" : syntax.behindValue;
    };
    const auto list = [&](const std::string& a, const std::string& b, const std::string& c) {
        return std::string(syntax.openList).append(a + ", " + b + ", " + c) + syntax.closeList;
    };
    const auto open = [&](const std::string& name) {
        text += syntax.quote + name + syntax.quote + syntax.open;
    };
    std::string section;
    for (std::size_t i = 0; i < units.size(); ++i) {
        const Unit& unit = units[i];
        const bool isFirst = i % kUnitsOfSection == 0;
        text += isFirst && i > 0 ? std::string(syntax.close) + syntax.between
                : isFirst        ? ""
                                 : syntax.between;
        if (isFirst) {
            section = "section" + std::to_string(i / kUnitsOfSection);
        }
        if (&syntax == &kToml) {
            open("[" + section + "." + unit.name);
        } else {
            if (isFirst) {
                open(section);
            }
            open(unit.name);
        }
        std::string title = unit.title;
        for (std::size_t at = 0; (at = title.find('"', at)) != std::string::npos; at += 2) {
            title.insert(at, 1, '\\');
        }
        value("title", "\"" + title + "\"");
        value("health", std::to_string(unit.health));
        value("speed", number(unit.speed));
        value("active", unit.isActive ? "true" : "false");
        value("position",
              list(number(unit.position[0]), number(unit.position[1]), number(unit.position[2])));
        value("color",
              list(std::to_string(unit.color[0]), std::to_string(unit.color[1]),
                   std::to_string(unit.color[2])),
              true);
        text += syntax.close;
    }
    return text + syntax.close + syntax.end;
}

// Units that take so many megabytes in this library's language.
const std::vector<Unit>& units(std::int64_t megabytes) {
    static const std::size_t unitSize = textOf(makeUnits(1000), kQz).size() / 1000;
    static const auto one = makeUnits(1'000'000 / unitSize);
    static const auto ten = makeUnits(10'000'000 / unitSize);
    return megabytes == 1 ? one : ten;
}

// Each library has a document, which parses a text and saves itself into one.
struct QzDocument {
    static constexpr const Syntax& kSyntax = kQz;
    bool parse(const std::string& text) {
        return parser.parse(text.data(), static_cast<int>(text.size()));
    }
    std::size_t save() {
        char* buffer = nullptr;
        int length = 0;
        const bool isSaved = parser.save(&buffer, length);
        const std::unique_ptr<char[]> owned(buffer);
        benchmark::DoNotOptimize(buffer);
        return isSaved ? static_cast<std::size_t>(length) : 0;
    }
    ConfigParser parser;
};

struct LibconfigDocument {
    static constexpr const Syntax& kSyntax = kLibconfig;
    LibconfigDocument() { config_init(&config); }
    ~LibconfigDocument() { config_destroy(&config); }
    bool parse(const std::string& text) {
        return config_read_string(&config, text.c_str()) == CONFIG_TRUE;
    }
    std::size_t save() {
        char* buffer = nullptr;
        std::size_t size = 0;
        std::FILE* const stream = open_memstream(&buffer, &size);
        config_write(&config, stream);
        std::fclose(stream);
        std::free(buffer);
        return size;
    }
    config_t config;
};

struct NlohmannDocument {
    static constexpr const Syntax& kSyntax = kJson;
    bool parse(const std::string& text) {
        json = nlohmann::json::parse(text);
        return json.is_object();
    }
    std::size_t save() {
        const std::string text = json.dump(4);
        benchmark::DoNotOptimize(text.data());
        return text.size();
    }
    nlohmann::json json;
};

struct RapidjsonDocument {
    static constexpr const Syntax& kSyntax = kJson;
    bool parse(const std::string& text) {
        return !json.Parse(text.data(), text.size()).HasParseError();
    }
    std::size_t save() {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        json.Accept(writer);
        return buffer.GetSize();
    }
    rapidjson::Document json;
};

struct TomlDocument {
    static constexpr const Syntax& kSyntax = kToml;
    bool parse(const std::string& text) {
        table = toml::parse(text);
        return !table.empty();
    }
    std::size_t save() {
        std::ostringstream stream;
        stream << table;
        return stream.str().size();
    }
    toml::table table;
};

template<class Document>
void parse(benchmark::State& state) {
    const std::string text = textOf(units(state.range(0)), Document::kSyntax);
    for (auto _ : state) {
        Document document;
        if (!document.parse(text)) {
            state.SkipWithError("the sample could not be parsed");
            return;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

template<class Document>
void save(benchmark::State& state) {
    Document document;
    if (!document.parse(textOf(units(state.range(0)), Document::kSyntax))) {
        state.SkipWithError("the sample could not be parsed");
        return;
    }
    std::size_t size = 0;
    for (auto _ : state) {
        size = document.save();
    }
    if (size == 0) {
        state.SkipWithError("the sample could not be saved");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

template<class Document>
void add(const std::string& name) {
    benchmark::RegisterBenchmark(("parse/" + name).c_str(), parse<Document>)
        ->Arg(1)
        ->Arg(10)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("save/" + name).c_str(), save<Document>)
        ->Arg(1)
        ->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int argc, char** argv) {
    add<QzDocument>("qz");
    add<LibconfigDocument>("libconfig");
    add<NlohmannDocument>("nlohmann");
    add<RapidjsonDocument>("rapidjson");
    add<TomlDocument>("toml");
    return bench::run(argc, argv, kGoals);
}

#include "startup.h"

#include "user_error.h"

#include "Config/SettingsReader.h"
#include "Core/Log.h"

namespace {

unsigned int readLevel(const qz::SettingsReader& item) {
    std::string name;
    unsigned int levels = 0;
    if (item.read("", name) && qz_log_parse_levels(name.c_str(), &levels) == 0) {
        item.addProblem("", "names no level: '" + name + "'");
    }
    return levels;
}

LogOutput readOutput(const qz::SettingsReader& block) {
    LogOutput output;
    block.require("name");
    block.read("name", output.name);
    block.read("module", output.module);
    for (const qz::SettingsReader& level : block.items("levels")) {
        output.levels |= readLevel(level);
    }
    return output;
}

} // namespace

Startup loadStartup(const std::string& file) {
    Startup startup;
    ConfigParser parser;
    const qz::SettingsReader reader(parser, file);
    reader.read("application", startup.application);
    reader.read("rates.checks", startup.checks, 1, 1000000);
    reader.read("rates.progress", startup.progressLines, 1, 100);
    reader.read("log.directory", startup.logDirectory);
    for (const qz::SettingsReader& output : reader.blocks("log.output")) {
        startup.logOutputs.push_back(readOutput(output));
    }
    if (std::string report = reader.report(); !report.empty()) {
        report.pop_back(); // the line feed of the last line
        throw UserError(report);
    }
    return startup;
}

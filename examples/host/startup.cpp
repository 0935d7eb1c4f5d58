#include "startup.h"

#include "user_error.h"

#include "Config/ConfigParser.h"
#include "Core/Log.h"

#include <string_view>

namespace {

using Entry = ConfigParser::iterator;

/* Goes through the entries of the file; what it does not know is a mistake, most likely a misspelt
 * name. */
class Reader {
public:
    explicit Reader(std::string file) : file_(std::move(file)) {}

    Startup read() {
        if (!parser_.parse(file_)) {
            failToParse();
        }
        each("", parser_.begin(), [this](const Entry& entry, const std::string& name) {
            if (name == "application") {
                value(entry, name, startup_.application);
            } else if (name == "rates") {
                block(entry, name, &Reader::readRate);
            } else if (name == "log") {
                block(entry, name, &Reader::readLog);
            } else {
                failUnknown(name);
            }
        });
        return std::move(startup_);
    }

private:
    using ReadEntry = void (Reader::*)(const Entry&, const std::string& path);

    void readRate(const Entry& entry, const std::string& path) {
        if (path == "rates.checks") {
            within(entry, path, startup_.checks, 1, 1000000);
        } else if (path == "rates.progress") {
            within(entry, path, startup_.progressLines, 1, 100);
        } else {
            failUnknown(path);
        }
    }

    void readLog(const Entry& entry, const std::string& path) {
        if (path == "log.directory") {
            value(entry, path, startup_.logDirectory);
        } else if (path == "log.output") {
            startup_.logOutputs.emplace_back();
            block(entry, path, &Reader::readOutput);
            if (startup_.logOutputs.back().name.empty()) {
                fail(path + ".name is missing");
            }
        } else {
            failUnknown(path);
        }
    }

    void readOutput(const Entry& entry, const std::string& path) {
        LogOutput& output = startup_.logOutputs.back();
        if (path == "log.output.name") {
            value(entry, path, output.name);
        } else if (path == "log.output.module") {
            value(entry, path, output.module);
        } else if (path == "log.output.levels") {
            if (entry.getType() != Entry::kList) {
                fail(path + " must be a list");
            }
            for (Entry item = entry.begin(); !item.isEnd(); ++item) {
                std::string name;
                value(item, path, name);
                output.levels |= level(path, name);
            }
        } else {
            failUnknown(path);
        }
    }

    unsigned int level(const std::string& path, const std::string& name) const {
        unsigned int levels = 0;
        if (qz_log_parse_levels(name.c_str(), &levels) == 0) {
            fail(path + ": there is no level '" + name + "'");
        }
        return levels;
    }

    void block(const Entry& entry, const std::string& path, ReadEntry readEntry) {
        if (entry.getType() != Entry::kBlock) {
            fail(path + " must be a block");
        }
        each(path + ".", entry.begin(),
             [this, readEntry](const Entry& one, const std::string& name) {
                 (this->*readEntry)(one, name);
             });
    }

    template<class Action>
    void each(const std::string& prefix, Entry entry, Action action) {
        for (; !entry.isEnd(); ++entry) {
            action(entry, prefix + entry.name());
        }
    }

    void value(const Entry& entry, const std::string& path, std::string& text) const {
        if (!entry.get(text)) {
            fail(path + " must be a text");
        }
    }

    void within(const Entry& entry, const std::string& path, int& number, int least,
                int most) const {
        if (!entry.get(number) || number < least || number > most) {
            fail(path + " must be a whole number from " + std::to_string(least) + " to " +
                 std::to_string(most));
        }
    }

    [[noreturn]] void failUnknown(const std::string& path) const { fail(path + " is no setting"); }

    [[noreturn]] void fail(const std::string& problem) const {
        throw UserError(file_ + ": " + problem);
    }

    [[noreturn]] void failToParse() const {
        ConfigParser::Error error;
        parser_.getLastError(error);
        if (error.column < 0) {
            fail(error.message == "End Of File" ? "the file ends too early" : "cannot be read");
        }
        const char* problem = error.message.empty() ? "nothing begins with the character at offset "
                                                    : "unexpected at offset ";
        throw UserError(file_ + ":" + std::to_string(error.line) + ": " + problem +
                        std::to_string(error.column) + "; \"qz conf check\" shows the spot");
    }

    std::string file_;
    ConfigParser parser_;
    Startup startup_;
};

} // namespace

Startup loadStartup(const std::string& file) {
    return Reader(file).read();
}

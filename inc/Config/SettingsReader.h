/* Settings of a program out of a configuration file, with every mistake in them told. C++ only, for
 * programs built by the library's compiler.
 *
 *     ConfigParser config;
 *     qz::SettingsReader reader(config, "server.cfg");
 *     reader.read("port", port, 1, 65535);       // stays what it is where the file says nothing
 *     reader.read("graphics.scale", scale);
 *     reader.read("maps", maps);                 // a std::vector<std::string>
 *     for (qz::SettingsReader& output : reader.blocks("log.output")) {
 *         output.require("name");
 *         output.read("name", outputs.emplace_back().name);
 *     }
 *     std::fputs(reader.report().c_str(), stderr);
 *
 * might print, if nobody reads a tick_rat:
 *
 *     server.cfg:3: port must be a whole number from 1 to 65535, not a text
 *     server.cfg:9: tick_rat is no setting
 *
 * A reader stands for the whole file, a block or an item of a list. Paths begin there and are those
 * of ConfigParser::findPath; the empty path is what the reader itself stands for. Functions that
 * read write nothing where the file has no such entry, or one that is a mistake, and collect what
 * is wrong. In the end problems() also has every entry that nobody asked for: names that are
 * misspelt, and those that stand in a block once more, where only the first counts.
 *
 * The parser remains the caller's, for changes and saving. A reader is done with when its parser
 * parses again, or its tree is changed, and so are the readers that it has given.
 *
 * A name in a path walks its block and a number its list, from the first entry on: items() and
 * blocks() are for many of them.
 *
 * Memory that runs out throws std::bad_alloc. Threads: a parser with its readers is for one thread
 * at a time.
 */
#ifndef QZCORE_CONFIG_SETTINGSREADER_H
#define QZCORE_CONFIG_SETTINGSREADER_H

#include "Config/ConfigParser.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <climits>
#include <concepts>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace qz {

/* What SettingsReader::read takes as integers and as lists. */
template<class T>
concept SettingInteger = std::integral<T> && !std::same_as<T, bool>;

template<class T>
concept SettingList =
    !std::same_as<T, std::string> && requires(T & items, typename T::value_type item) {
    items.push_back(item);
};

class SettingsReader {
public:
    struct QZ_API Problem {
        std::string file;
        int line = -1;    /* from 1; that of the block around what is missing; -1: there is none */
        std::string path; /* empty for a file that cannot be parsed */
        std::string text; /* what goes on behind the path: "must be a text, not 7" */

        /* All of it as one line, without its end: "server.cfg:3: title must be a text, not 7" */
        std::string message() const;
    };

    /* Parse a file, or a text in memory that problems call by a name, with the parser. If that
     * fails, the only problem says why, and nothing is there to be read. */
    QZ_API SettingsReader(ConfigParser& config, const std::string& file);
    QZ_API SettingsReader(ConfigParser& config, const std::string& name, const char* text,
                          int length);

    /* An integer; what the variable's type cannot hold is out of range as well. True if it was
     * read, as with all of these. */
    template<SettingInteger T>
    bool read(const std::string& path, T& value,
              std::type_identity_t<T> least = std::numeric_limits<T>::min(),
              std::type_identity_t<T> most = std::numeric_limits<T>::max()) const {
        int number = 0;
        if (!readInt_(path, number, toLong_(least), toLong_(most))) {
            return false;
        }
        value = static_cast<T>(number);
        return true;
    }

    /* A real or an integer. */
    QZ_API bool read(const std::string& path, double& value,
                     double least = std::numeric_limits<double>::lowest(),
                     double most = std::numeric_limits<double>::max()) const;
    QZ_API bool read(const std::string& path, float& value,
                     double least = static_cast<double>(std::numeric_limits<float>::lowest()),
                     double most = static_cast<double>(std::numeric_limits<float>::max())) const;

    /* true or false, or the integers that they are, 1 and 0. */
    QZ_API bool read(const std::string& path, bool& value) const;

    QZ_API bool read(const std::string& path, std::string& value) const;

    /* A list whose items are all what the container holds; they replace what is in it. */
    template<SettingList List>
    bool read(const std::string& path, List& items) const {
        std::vector<SettingsReader> readers;
        bool isRead = readItems_(path, readers);
        List found;
        for (SettingsReader& reader : readers) {
            typename List::value_type item{};
            isRead = reader.read({}, item) && isRead;
            found.push_back(std::move(item));
        }
        if (isRead) {
            items = std::move(found);
        }
        return isRead;
    }

    /* The first block of a path, or one without entries; all blocks of that path; the items of a
     * list. Whatever else stands there is a problem. */
    QZ_API SettingsReader block(const std::string& path) const;
    QZ_API std::vector<SettingsReader> blocks(const std::string& path) const;
    QZ_API std::vector<SettingsReader> items(const std::string& path) const;

    /* The entry itself, or the end, for what these functions cannot do; whatever is in it counts as
     * asked for. */
    QZ_API ConfigParser::iterator find(const std::string& path) const;

    /* Whether there is such an entry; if not, that is a problem. The entry counts as asked for, but
     * what is in a block does not. */
    QZ_API bool require(const std::string& path) const;

    /* A problem that the caller has found. The text goes on behind the path: "names no level". */
    QZ_API void addProblem(const std::string& path, const std::string& text) const;

    /* All that are known so far to any reader of this file, by line, with the entries that nobody
     * has asked for yet; and their messages, each with a line feed behind it: an empty text if all
     * is well. */
    QZ_API std::vector<Problem> problems() const;
    QZ_API std::string report() const;

private:
    struct State;
    struct Place;

    SettingsReader(std::shared_ptr<State> state, const Place& place);

    /* What is beyond it is beyond every int as well. */
    template<SettingInteger T>
    static constexpr long long toLong_(T limit) {
        constexpr auto kMost = static_cast<unsigned long long>(LLONG_MAX);
        return limit > 0 && static_cast<unsigned long long>(limit) > kMost
                   ? LLONG_MAX
                   : static_cast<long long>(limit);
    }

    void start_(bool isParsed);
    QZ_API bool readInt_(const std::string& path, int& value, long long least,
                         long long most) const;
    template<class Real>
    bool readReal_(const std::string& path, Real& value, double least, double most) const;
    QZ_API bool readItems_(const std::string& path, std::vector<SettingsReader>& readers) const;
    Place find_(const std::string& path) const;

    std::shared_ptr<State> state_;
    std::optional<ConfigParser::iterator> entry_; /* none: the whole file */
    std::string path_;
    int line_ = -1; /* that of the entry or, if it is missing, of the block around it */
};

} // namespace qz

#endif

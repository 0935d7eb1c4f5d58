/* Reads a program's settings from a configuration file and reports every mistake in it. C++ only,
 * for programs built by the library's compiler.
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
 * For example, this prints the following, where "tick_rat" is a misspelt name:
 *
 *     server.cfg:3: port must be a whole number from 1 to 65535, not a text
 *     server.cfg:9: tick_rat is no setting
 *
 * A reader stands for the whole file, a block or an item of a list. Paths are those of
 * ConfigParser::findPath and begin there; the empty path means the reader's own entry. If an entry
 * is missing or wrong, the functions that read it leave the variable alone; a wrong entry is
 * collected as a problem. problems() also lists every entry that nobody asked for: misspelt names,
 * and repeated names in a block, of which only the first counts.
 *
 * The caller owns the parser and may use it for changes and saving. When the parser parses again or
 * its tree is changed, all readers of it become invalid.
 *
 * Each part of a path is searched from the first entry of its block or list on; to visit many
 * entries, use items() and blocks().
 *
 * All functions throw std::bad_alloc when memory runs out. Threads: a parser with its readers is
 * for one thread at a time.
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

/* The types that SettingsReader::read takes as integers and as lists. */
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
        int line = -1;    /* from 1; for a missing entry that of its block; -1: none */
        std::string path; /* empty for a file that cannot be parsed */
        std::string text; /* the text after the path: "must be a text, not 7" */

        /* The problem as one line, without a line end: "server.cfg:3: title must be a text, not 7"
         */
        std::string message() const;
    };

    /* Parse a file, or a text in memory, with the parser. Problems call the text by `name`; length:
     * as for ConfigParser::parse. If parsing fails, the only problem says why, and there are no
     * entries. */
    QZ_API SettingsReader(ConfigParser& config, const std::string& file);
    QZ_API SettingsReader(ConfigParser& config, const std::string& name, const char* text,
                          int length);

    /* Reads an integer from `least` to `most`. A value that T cannot hold is out of range, too.
     * Like all overloads it returns whether the variable was set. */
    template<SettingInteger T>
    bool read(const std::string& path, T& value,
              std::type_identity_t<T> least = (std::numeric_limits<T>::min)(),
              std::type_identity_t<T> most = (std::numeric_limits<T>::max)()) const {
        int number = 0;
        if (!readInt_(path, number, toLong_(least), toLong_(most))) {
            return false;
        }
        value = static_cast<T>(number);
        return true;
    }

    /* Reads a real or an integer. A number that a float cannot hold is out of range, too. */
    QZ_API bool read(const std::string& path, double& value,
                     double least = std::numeric_limits<double>::lowest(),
                     double most = (std::numeric_limits<double>::max)()) const;
    QZ_API bool read(const std::string& path, float& value,
                     double least = static_cast<double>(std::numeric_limits<float>::lowest()),
                     double most = static_cast<double>((std::numeric_limits<float>::max)())) const;

    /* Reads true or false, or the integer 1 or 0. */
    QZ_API bool read(const std::string& path, bool& value) const;

    QZ_API bool read(const std::string& path, std::string& value) const;

    /* Reads a list. All items must be of the container's type; they replace what the container
     * holds. */
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

    /* block: the first block of a path; if there is none, a block without entries. blocks: all
     * blocks of a path. items: the items of a list. An entry of another kind is a problem. */
    QZ_API SettingsReader block(const std::string& path) const;
    QZ_API std::vector<SettingsReader> blocks(const std::string& path) const;
    QZ_API std::vector<SettingsReader> items(const std::string& path) const;

    /* The entry itself, or the end, for what the other functions cannot do. Everything in the entry
     * counts as asked for. */
    QZ_API ConfigParser::iterator find(const std::string& path) const;

    /* Returns whether there is such an entry; a missing one is a problem. The entry counts as asked
     * for, but the entries in a block do not. */
    QZ_API bool require(const std::string& path) const;

    /* Adds a problem that the caller has found. The text stands after the path: "names no level".
     */
    QZ_API void addProblem(const std::string& path, const std::string& text) const;

    /* problems: all problems that readers of this file have found so far, and the entries that
     * nobody has asked for yet, sorted by line. report: their messages, each followed by a line
     * feed; an empty text if there are none. */
    QZ_API std::vector<Problem> problems() const;
    QZ_API std::string report() const;

private:
    struct State;
    struct Place;

    SettingsReader(std::shared_ptr<State> state, const Place& place);

    /* Cuts a limit at LLONG_MAX, which is beyond every int. */
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
    int line_ = -1; /* of the entry or, if it is missing, of its block */
};

} // namespace qz

#endif

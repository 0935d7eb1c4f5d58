/* Configuration files: reading, changing, saving. C++ only, for programs built by the library's
 * compiler.
 *
 *     ConfigParser config;
 *     if (!config.parse("settings.cfg")) {
 *         std::cerr << "settings.cfg: " << config.getErrorText() << '\n';
 *     }
 *     int width = 1280;
 *     ConfigParser::iterator graphics = config.find("graphics");
 *     graphics.find("width").get(width);       // stays 1280 if there is none
 *     graphics.find("title").set("Outpost");
 *     config.saveEdited();                     // comments and layout stay
 *
 * docs/formats/configuration.md describes the language for those who write such files:
 *
 *     graphics {
 *         width = 640 * 2;                     // expressions, + - * / and parentheses
 *         colors = { {255, 0, 0}, {0, 255, 0} };
 *     }
 *
 * Lines end in CR LF on every system, in the texts that are read and in the files that are saved,
 * so that files travel between systems unchanged. A bare line feed outside strings and comments is
 * an error.
 *
 * File names are paths of the system, not of the virtual file system: UTF-8 with either separator,
 * at most 255 characters. Files and texts are at most 2 GiB - 1 byte.
 *
 * When memory runs out, a function fails by its result and does not throw, except for functions
 * that return or fill a std::string or a container: they throw what that throws. A change that
 * fails leaves the tree as it was.
 *
 * Threads: different parsers share nothing. One parser, with its iterators, is for one thread at a
 * time; several threads may read from it while none changes or saves it. A thread that is cancelled
 * (pthread_cancel) does not end in parse or save.
 */
#ifndef QZCORE_CONFIG_CONFIGPARSER_H
#define QZCORE_CONFIG_CONFIGPARSER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <climits>
#include <concepts>
#include <exception>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace qz::config {
class Tree;
struct Entry;
struct Value;

/* Integer types as wide as an int or wider. */
template<class T>
concept WideInteger = std::integral<T> && sizeof(T) >= sizeof(int);

template<WideInteger T>
constexpr bool fitsInt(T value) {
    return value < 0 ? static_cast<long long>(value) >= INT_MIN
                     : static_cast<unsigned long long>(value) <= INT_MAX;
}

/* char8_t, or char where the compiler has no char8_t. */
using Char8 = std::remove_cvref_t<decltype(*u8"")>;

/* Pointers to other things would be taken for a bool, so they do not compile. */
template<class T>
concept NoText =
    !std::same_as<std::remove_cv_t<T>, char> && !std::same_as<std::remove_cv_t<T>, Char8>;

} // namespace qz::config

class QZ_API ConfigParser {
public:
    class iterator;

    /* What is wrong with a text, and where. The throwing getters of iterator throw it, too.
     *
     * column is the offset in bytes from the start of the whole text, not of the line. Lines count
     * from 1. A lone CR or LF, as in comments, ends a line together with the character behind it:
     * two line feeds in a row count as one, and the last character as none. line and column are -1
     * if there is no position. */
    class QZ_API Error : public std::exception {
    public:
        Error() = default;

        const char* what() const noexcept override;
        void reset();

        std::string message;
        int line = -1;
        int column = -1;
    };

    /* Makes an empty tree. Identifiers may have the letters for which isalpha of the C library is
     * true at this time. Throws std::bad_alloc if there is no memory for the parser itself. */
    ConfigParser();
    virtual ~ConfigParser();
    ConfigParser(const ConfigParser&) = delete;
    ConfigParser& operator=(const ConfigParser&) = delete;

    /* Read a file, or a text in memory; a length below 1 means that the text ends at its first zero
     * byte. The tree is replaced, after a failure by an empty one, and all iterators become
     * invalid. An empty text gives an empty tree. A file that was read without an error becomes the
     * file of save(). After a failure save() still has the file that was read before, and would
     * leave it empty. On Windows a program that is replacing a file may lock others out: reading
     * waits for it, for a second at most.
     *
     * Return false after a failure, and getLastError tells why:
     * - a character with which no token begins: empty message, and the position, without the line
     *   for a text in memory;
     * - a token that the grammar does not allow there: "Error" and the position of the token;
     * - text that ends too early: "End Of File", no position;
     * - a file that cannot be opened or read: empty message, no position, and a line in the log;
     * - memory that runs out: "Out of memory", no position;
     * - a null text or one that is too long: empty message, no position.
     *
     * Braces may be nested 256 deep; a deeper one is an "Error". Parentheses have no limit. An
     * integer expression is an "Error" at its first token if its result does not fit an int, is
     * infinite or not a number; a real one is if its result is infinite or not a number.
     * Intermediate results may be anything. A hexadecimal number has 32 bits and is taken as
     * signed: 0xFFFFFFFF is -1. */
    bool parse(const std::string& fileName);
    bool parse(const char* text, int length);

    /* Save the whole tree in the library's own layout: to the file that was last read, to a named
     * file, or into a new buffer, which the caller releases with delete[]. A read-only file is made
     * writable.
     *
     * Reals have 10 significant digits and always a point, so that they are read as reals again.
     * The buffer is for display: it ends in a zero byte, which `length` counts, and its lines end
     * in a bare line feed, which parse does not accept. saveEdited makes a buffer that parse
     * accepts.
     *
     * A file is replaced in one step: at any time it holds either its old contents or all of the
     * new ones. It keeps its access list and its permissions, and the owner may read and write it
     * afterwards. On Linux it also keeps its owner, on Windows its attributes. On Linux symbolic
     * links are followed, and a link that leads nowhere cannot be saved to; on Windows the link is
     * replaced. Other names of the file (hard links) keep the old contents. Alternate streams of
     * Windows (a.cfg:notes) and devices cannot be saved to.
     *
     * The new contents are first written to a file in the same directory, whose name is that of the
     * file followed by ".qzsave-" and a number, on Windows two numbers. A program that is killed
     * leaves that file behind; the next save removes it.
     *
     * If no file can be made in the directory, or a new file cannot get the owner or the access
     * list, the file itself is overwritten, not in one step: whoever reads it meanwhile may see a
     * part. A full disk still does no harm, but a crash may. Other names of the file then have the
     * new contents.
     *
     * Return false, with nothing written, if the file cannot be written, there is no file name,
     * memory runs out, or the text would be longer than an int can say or could not be read again.
     * A text cannot be read again if it has an empty block or list, a real that is infinite or not
     * a number, a name that is not an identifier, or braces more than 256 deep. getSaveResult tells
     * the reason. */
    bool save();
    bool save(const std::string& fileName);
    bool save(char** buffer, int& length);

    /* Save the text that was parsed, altered only where entries were changed, inserted or erased:
     * comments, order, blank lines and the spelling of everything else stay. An entry that is set
     * to the value it has is not changed. A line on which nothing is left is removed. A real that
     * was set or inserted has as many digits as it takes to read the same number again.
     *
     * All else is as with save, but lines in the buffer end in CR LF too, so that parse accepts it.
     *
     * Changes of others are not overwritten. If somebody has changed the file that was last read,
     * saving to it, under the name by which it was read, fails with kFileChanged; the caller then
     * parses it again and repeats the changes. Saving to it fails with kFileUnknown if a later
     * parse failed or was of a text in memory; so does saving to a file whose parse failed last. A
     * missing file is made again. Of files that were made by saving, only the last one is compared.
     *
     * Programs that use saveEdited or qz conf on the same file at the same time wait for each
     * other, for 1 second at most; after that the file is only compared. save and editors do not
     * wait: what they write between the comparison and the replacement is lost. */
    bool saveEdited();
    bool saveEdited(const std::string& fileName);
    bool saveEdited(char** buffer, int& length);

    enum SaveResult {
        kSaved = 0,          /* also if nothing was saved yet */
        kNowhere = 1,        /* neither a file name nor a buffer */
        kTreeUnreadable = 2, /* the text would be too long, or could not be read again */
        kFileChanged = 3,
        kFileUnknown = 4,
        kFileFailed = 5,
        kOutOfMemory = 6
    };

    /* The result of the last save or saveEdited, and the same as an English text, which for
     * kFileFailed has the system's own words, too. */
    SaveResult getSaveResult() const;
    std::string getSaveText() const;

    /* Clears the tree and forgets the text; all iterators become invalid. */
    void reset();

    /* begin, end: the entries of the top level. find: the first entry of that name, or end(). */
    iterator begin();
    iterator end();
    iterator find(const std::string& name);

    /* The entry of a path, or end(). A path is made of names and of numbers of list items, counted
     * from 0, with points in between: "graphics.colors.0.2". A name means the first entry of that
     * name. Each part is searched from the first entry of its block or list on; to visit many
     * entries, use iterators. */
    iterator findPath(const std::string& path);

    /* Set the entry of a path as iterator::set does. A missing entry is added at the end of its
     * block, after the missing blocks around it were added; a path that ends in the number of items
     * of a list adds an item. Return false, with nothing changed, if the entry is a block, if the
     * path leads through a value or to a list item that does not exist, if a name to be added is
     * not an identifier, if an entry to be added would be more than 256 blocks and lists deep, or
     * if memory runs out. */
    bool setPath(const std::string& path, int value);
    bool setPath(const std::string& path, double value);
    bool setPath(const std::string& path, const std::string& value);
    bool setPath(const std::string& path, bool value) { return setPath(path, value ? 1 : 0); }
    bool setPath(const std::string& path, float value) {
        return setPath(path, static_cast<double>(value));
    }
    bool setPath(const std::string& path, const char* value) {
        return value != nullptr && setPath(path, std::string(value));
    }
    template<std::same_as<qz::config::Char8> Char>
    bool setPath(const std::string& path, const Char* value) {
        return setPath(path, reinterpret_cast<const char*>(value));
    }
    template<qz::config::NoText T>
    bool setPath(const std::string& path, T* value) = delete;
    template<qz::config::WideInteger Integer>
    bool setPath(const std::string& path, Integer value) {
        return qz::config::fitsInt(value) && setPath(path, static_cast<int>(value));
    }

    /* Returns false only if memory ran out in the constructor; such a parser parses nothing. */
    bool isInitialized() const;

    /* The error of the last parse; empty, with -1 for line and column, after a success.
     * getLastError returns false, with nothing written, if the parser is not initialised. */
    bool getLastError(Error& error) const;
    int getErrorLine() const;
    int getErrorColumn() const;

    /* The error of the last parse as an English text without the file's name, for example
     * "unexpected text at offset 12; ..."; for a file that cannot be read with the system's own
     * words. Empty after a success. */
    std::string getErrorText() const;

    /* Returns whether the last parse failed at a line that ends in a line feed alone.
     * "qz conf fix-eol" repairs such files. */
    bool isErrorLineFeed() const;

private:
    struct Impl;

    std::unique_ptr<Impl> impl_;
};

/* A position in the top level, a block or a list: an entry, or the end. The top level and blocks
 * hold named entries, which are blocks and assignments; lists hold items without a name, which are
 * values and lists.
 *
 * At the end, or at an entry of the wrong kind, functions do nothing and tell so by their result;
 * advancing at the end stays there. An iterator stays valid until the tree is replaced or cleared,
 * or until its entry or one around it is erased or set. */
class QZ_API ConfigParser::iterator {
public:
    enum Type {
        kUnknown = 0, /* the end */
        kBlock = 1,
        kInteger = 2, /* characters, true and false too */
        kReal = 3,
        kString = 4,
        kList = 5
    };

    /* Makes an end that belongs to no list. */
    iterator() = default;

    iterator& operator++();
    iterator operator++(int);
    bool operator==(const iterator& other) const;
    bool operator!=(const iterator& other) const { return !(*this == other); }

    /* An opaque address that identifies the entry; null at the end. */
    const qz::config::Entry* operator*() const;

    bool isEnd() const;
    bool isLast() const; /* the next position is the end */

    /* begin, end: the entries of this block, or the items of this list; for another entry both are
     * the end. find: the first entry of that name in this block, or end(); blocks within it are not
     * searched. */
    iterator begin() const;
    iterator end() const;
    iterator find(const std::string& name) const;

    /* The entry of a path that begins in this block or list; see ConfigParser::findPath. */
    iterator findPath(const std::string& path) const;

    /* The line of the parsed text in which the entry begins, counted as by getErrorLine. Changing
     * the entry and saving do not change it. -1 for an inserted entry, and at the end. */
    int line() const;

    /* The name, which is empty for items. A name that is not an identifier can be set, but not
     * saved. setName returns false for items, at the end, and if memory runs out. */
    std::string name() const;
    bool setName(const std::string& name);

    Type getType() const;

    /* Read the value. Return false, with nothing written, if the entry has another type. An integer
     * can be read as a real, but a real not as an integer, because its fraction would be lost. A
     * real that is too large for a float is read as an infinite one. A bool is read from an
     * integer: 0 is false, any other is true. */
    bool getInt(int& value) const;
    bool getDouble(double& value) const;
    bool getFloat(float& value) const;
    bool getString(std::string& value) const;
    bool getBool(bool& value) const;
    bool get(int& value) const { return getInt(value); }
    bool get(double& value) const { return getDouble(value); }
    bool get(float& value) const { return getFloat(value); }
    bool get(std::string& value) const { return getString(value); }
    bool get(bool& value) const { return getBool(value); }

    /* Return the value. Throw an Error without message and position if the entry has another type.
     */
    int getInt() const;
    double getDouble() const;
    float getFloat() const;
    std::string getString() const;
    bool getBool() const;

    /* Fills a container (a std::list, or another with push_back) with all items of a list, read as
     * values of type T. Returns false if this is not a list, or has no items, or has an item of
     * another type; the container then holds the items before that one. */
    template<class T, class Container>
    bool getList(Container& items) const;

    /* Replace the value, whatever its type was, a list included. Return false for blocks, at the
     * end, if memory runs out, and for a null text. A bool is stored as 1 or 0, a float as a real.
     */
    bool setInt(int value);
    bool setDouble(double value);
    bool setFloat(float value);
    bool setBool(bool value);
    bool setString(const std::string& value);
    bool set(int value) { return setInt(value); }
    bool set(double value) { return setDouble(value); }
    bool set(float value) { return setFloat(value); }
    bool set(bool value) { return setBool(value); }
    bool set(const std::string& value) { return setString(value); }
    bool set(const char* value) { return value != nullptr && setString(value); }
    template<std::same_as<qz::config::Char8> Char>
    bool set(const Char* value) {
        return set(reinterpret_cast<const char*>(value));
    }
    template<qz::config::NoText T>
    bool set(T* value) = delete;

    /* Sets an integer of another type. Returns false if the value does not fit an int. */
    template<qz::config::WideInteger Integer>
    bool set(Integer value) {
        return qz::config::fitsInt(value) && setInt(static_cast<int>(value));
    }

    /* Insert before this position and return the position of the new entry. With a name they insert
     * an empty block or an assignment into the top level or a block; without a name, an item into a
     * list. In the wrong place, for a null text, or if memory runs out, they insert nothing and
     * return the end. */
    iterator insertBlock(const std::string& name);
    iterator insertInt(const std::string& name, int value);
    iterator insertDouble(const std::string& name, double value);
    iterator insertFloat(const std::string& name, float value);
    iterator insertBool(const std::string& name, bool value);
    iterator insertString(const std::string& name, const std::string& value);
    iterator insert(const std::string& name, int value) { return insertInt(name, value); }
    iterator insert(const std::string& name, double value) { return insertDouble(name, value); }
    iterator insert(const std::string& name, float value) { return insertFloat(name, value); }
    iterator insert(const std::string& name, bool value) { return insertBool(name, value); }
    iterator insert(const std::string& name, const std::string& value) {
        return insertString(name, value);
    }
    iterator insert(const std::string& name, const char* value) {
        return value == nullptr ? end_() : insertString(name, value);
    }
    template<std::same_as<qz::config::Char8> Char>
    iterator insert(const std::string& name, const Char* value) {
        return insert(name, reinterpret_cast<const char*>(value));
    }
    template<qz::config::NoText T>
    iterator insert(const std::string& name, T* value) = delete;

    /* Nothing is inserted if the value does not fit an int. */
    template<qz::config::WideInteger Integer>
    iterator insert(const std::string& name, Integer value) {
        return qz::config::fitsInt(value) ? insertInt(name, static_cast<int>(value)) : end_();
    }
    iterator insertInt(int value);
    iterator insertDouble(double value);
    iterator insertFloat(float value);
    iterator insertBool(bool value);
    iterator insertString(const std::string& value);

    /* Removes the entry with everything in it and returns the position of the next one. Never
     * fails. */
    iterator erase();

private:
    friend class ConfigParser;

    iterator(qz::config::Tree* tree, qz::config::Entry* list, qz::config::Entry* entry)
        : tree_(tree), list_(list), entry_(entry) {}

    iterator end_() const { return {tree_, list_, nullptr}; }
    QZ_LOCAL bool set_(const qz::config::Value& value);
    QZ_LOCAL iterator insert_(const std::string* name, const qz::config::Value& value);

    qz::config::Tree* tree_ = nullptr;
    qz::config::Entry* list_ = nullptr;  /* the block or list that holds the entry, or the root */
    qz::config::Entry* entry_ = nullptr; /* null: the end */
};

template<class T, class Container>
bool ConfigParser::iterator::getList(Container& items) const {
    items.clear();
    if (getType() != kList) {
        return false;
    }
    for (iterator item = begin(); !item.isEnd(); ++item) {
        T value{};
        if (!item.get(value)) {
            return false;
        }
        items.push_back(std::move(value));
    }
    return !items.empty();
}

#endif

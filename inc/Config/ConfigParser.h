/* Configuration files: reading, changing, saving. C++ only, for programs built by the library's
 * compiler.
 *
 *     ConfigParser config;
 *     if (!config.parse("settings.cfg")) {
 *         // config.getErrorLine(), config.getErrorColumn()
 *     }
 *     int width = 1280;
 *     ConfigParser::iterator graphics = config.find("graphics");
 *     graphics.find("width").get(width);       // stays 1280 if there is none
 *     graphics.find("title").set("Outpost");
 *     config.saveEdited();                     // comments and layout stay
 *
 * The language, for those who write such files, is described in docs/formats/configuration.md:
 *
 *     graphics {
 *         width = 640 * 2;                     // expressions, + - * / and parentheses
 *         colors = { {255, 0, 0}, {0, 255, 0} };
 *     }
 *
 * Lines end in CR LF in what is read and in what is saved to a file, on every system: files travel
 * between systems unchanged. A bare line feed is an error outside strings and comments.
 *
 * Paths are UTF-8 with either separator, at most 255 characters, and name files of the system; the
 * virtual file system is not asked. Files and texts are at most 2 GiB - 1 byte.
 *
 * Memory that runs out is no reason to throw, except where a std::string or container is to hold
 * more than it has room for, in the functions that return or fill one. A change is then not made at
 * all: the tree is as it was and can be saved.
 *
 * Threads: different parsers share nothing. One parser, with its iterators, is for one thread at a
 * time; several may read from it while none changes or saves it.
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
#include <utility>

namespace qz::config {
class Tree;
struct Entry;
struct Value;

/* Integers, some of which do not fit an int. */
template<class T>
concept WideInteger = std::integral<T> && sizeof(T) >= sizeof(int);

template<WideInteger T>
constexpr bool fitsInt(T value) {
    return value < 0 ? static_cast<long long>(value) >= INT_MIN
                     : static_cast<unsigned long long>(value) <= INT_MAX;
}

} // namespace qz::config

class QZ_API ConfigParser {
public:
    class iterator;

    /* What went wrong with a text, and where; also what the throwing readers of iterator throw.
     *
     * column is the offset from the start of the whole text in bytes, not from the start of the
     * line. Lines count from 1, and a lone CR or LF followed by any character ends one as CR LF
     * does. Both are -1 where there is no position. */
    class QZ_API Error : public std::exception {
    public:
        Error() = default;

        const char* what() const noexcept override;
        void reset();

        std::string message;
        int line = -1;
        int column = -1;
    };

    /* An empty tree. Letters of identifiers are those of the C library's isalpha at this time.
     * Throws std::bad_alloc if there is no memory for the parser itself. */
    ConfigParser();
    virtual ~ConfigParser();
    ConfigParser(const ConfigParser&) = delete;
    ConfigParser& operator=(const ConfigParser&) = delete;

    /* Read a file, or a text in memory; a length below 1 means that it ends at its first zero byte.
     * The tree is replaced, also by the empty one after a failure, and iterators end their lives.
     * An empty text is an empty tree. Only a file that was read changes the file name of save();
     * after a failure that is still the last such file, and save() would leave it empty. On Windows
     * a program may keep others from a file, as one does that is just replacing it: reading waits
     * for it, for a second at most.
     *
     * False, with getLastError telling why:
     * - a character that begins nothing: empty message, and the position; of a text in memory the
     *   column only;
     * - text that the grammar has no place for: "Error" and the position of the first such token;
     * - text that ends too early: "End Of File", no position;
     * - a file that cannot be opened or read: empty message, no position, and a line in the log;
     * - memory that runs out: "Out of memory", no position;
     * - a null text or one that is too long: empty message, no position.
     *
     * Braces may be nested 256 deep; a deeper one is an error like any other. Parentheses have no
     * limit. An integer expression whose result does not fit an int, infinite or no number at all
     * included, is an error at its first token, and so is a real one that is infinite or no number;
     * only the result counts, not what comes on the way. A hexadecimal number has 32 bits and is
     * taken as signed: 0xFFFFFFFF is -1. */
    bool parse(const std::string& fileName);
    bool parse(const char* text, int length);

    /* Save the whole tree in the library's own layout: to the file that was last read, to a file
     * (made writable if it is not), or into a new buffer, which the caller releases with delete[].
     *
     * Reals have 10 significant digits and always a point, so that they are read as reals again.
     * The buffer is meant to be shown: it ends in a zero byte, which `length` counts, and its lines
     * end in a bare line feed, which parse does not accept. saveEdited gives one for parse.
     *
     * A file is replaced in one step: whatever happens meanwhile, it holds either its old contents
     * or all of the new ones. It keeps its permissions, plus those to read and write for its owner,
     * its access list, on Linux its owner, on Windows its attributes. On Linux symbolic links are
     * followed, and one that leads nowhere cannot be saved to; on Windows the link is replaced.
     * Other names of the file (hard links) keep the old contents. Windows' alternate streams
     * (a.cfg:notes) and devices cannot be saved to.
     *
     * The new contents are first written to a file beside it, named after it with ".qzsave-" and
     * numbers behind. A program that is killed leaves that file; the next save removes it.
     *
     * Where the directory lets no file be made, or a new file could not get the owner or the access
     * list, the file itself is written, not in one step: who reads it meanwhile may see a part. A
     * full disk does no harm in this case either, but a crash does. Hard links stay.
     *
     * False, with nothing written, if the file cannot be written, there is no file name, memory
     * runs out, the text is longer than an int can say, or it could not be read again: an
     * empty block or list, a real that is infinite or no number, a name that is no identifier,
     * braces more than 256 deep. getSaveResult tells which. */
    bool save();
    bool save(const std::string& fileName);
    bool save(char** buffer, int& length);

    /* Save the text that was parsed with only the changed, inserted and erased entries altered:
     * comments, order, blank lines and the spelling of everything else stay. What is set to the
     * value that it already has is not changed. A line goes if nothing is left on it. A real that
     * was set or inserted has as many digits as it takes to read the same number again.
     *
     * As save, but with CR LF in the buffer too: it can be parsed as it is.
     *
     * The file that was last read, under the name that it was read by, is not written over what
     * somebody else has made of it since: that is kFileChanged, and the caller parses it again and
     * repeats the changes. After a parse that failed, and after one of a text in memory, it is not
     * written at all, and neither is the file whose parse failed: that is kFileUnknown. A file that
     * is gone is made again.
     *
     * Programs that use saveEdited or qz conf on the same file at the same time wait for each
     * other, but for 1 second at most; then the comparison alone has to do. save and editors do not
     * wait: what they write in the instant between comparison and replacement is lost. */
    bool saveEdited();
    bool saveEdited(const std::string& fileName);
    bool saveEdited(char** buffer, int& length);

    enum SaveResult {
        kSaved = 0,          /* also if nothing was saved yet */
        kNowhere = 1,        /* neither a file name nor a buffer */
        kTreeUnreadable = 2, /* the text could not be read again, or would be too long */
        kFileChanged = 3,
        kFileUnknown = 4,
        kFileFailed = 5,
        kOutOfMemory = 6
    };

    /* What has become of the last save or saveEdited; and the same in English words, with those of
     * the system behind kFileFailed. */
    SaveResult getSaveResult() const;
    std::string getSaveText() const;

    /* Clears the tree and forgets the text; iterators end their lives. */
    void reset();

    /* The entries of the top level; find: the first of that name, or end(). */
    iterator begin();
    iterator end();
    iterator find(const std::string& name);

    /* The entry of a path, or end(). A path names entries, the first of each name, and items of
     * lists, counted from 0, with points in between: "graphics.colors.0.2". A name walks its block
     * and a number its list, from the first entry on: iterators are for many of them. */
    iterator findPath(const std::string& path);

    /* Set the entry of a path as iterator::set does. One that is missing is added behind the last
     * of its block, and so are the blocks around it; the number behind a list's last item adds one
     * to it. False, with nothing changed, if the entry is a block, if the path leads through a
     * value or to no item of a list, if a name that would be added is no identifier, if what is
     * added would lie more than 256 blocks and lists deep, and if memory runs out. */
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
    template<qz::config::WideInteger Integer>
    bool setPath(const std::string& path, Integer value) {
        return qz::config::fitsInt(value) && setPath(path, static_cast<int>(value));
    }

    /* False only if memory ran out in the constructor; such a parser parses nothing. */
    bool isInitialized() const;

    /* What the last parse complained about; nothing after a success. False, with nothing written,
     * if the parser is not initialised. */
    bool getLastError(Error& error) const;
    int getErrorLine() const;
    int getErrorColumn() const;

    /* Whether the last parse failed at a line that ends in a line feed alone. "qz conf fix-eol"
     * mends such files. */
    bool isErrorLineFeed() const;

private:
    struct Impl;

    std::unique_ptr<Impl> impl_;
};

/* An entry of a list of entries, or that list's end. The top level and blocks hold named entries:
 * blocks and assignments; lists hold nameless items: values and lists.
 *
 * Where there is no entry (at the end) or not one of the right kind, functions do nothing and say
 * so by their result; no iterator is ever out of bounds. Iterators stay valid until the tree is
 * replaced or cleared, or their entry or one around it is erased or set. */
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

    /* The end of no list. */
    iterator() = default;

    iterator& operator++();
    iterator operator++(int);
    bool operator==(const iterator& other) const;
    bool operator!=(const iterator& other) const { return !(*this == other); }

    /* What the tree keeps of the entry: the same address for the same entry, null at the end. */
    const qz::config::Entry* operator*() const;

    bool isEnd() const;
    bool isLast() const; /* the next position is the end */

    /* The entries of the block or the items of the list that this is; for others both are the end.
     * find: the first of that name in the block itself, not in blocks within it, or end(). */
    iterator begin() const;
    iterator end() const;
    iterator find(const std::string& name) const;

    /* The entry of a path that begins in this block or list, as with ConfigParser::findPath. */
    iterator findPath(const std::string& path) const;

    /* The line of the text that was parsed in which the entry begins, as getErrorLine counts. It
     * stays when the entry is changed or the text saved. -1 for what was inserted, and at the end.
     */
    int line() const;

    /* Empty for items. A name that is no identifier can be set, but not saved. False for items, at
     * the end, and if memory runs out. */
    std::string name() const;
    bool setName(const std::string& name);

    Type getType() const;

    /* False, with nothing written, if the entry has another type. An integer can be read as a
     * real; a real is no integer, because its fraction would be lost. A bool is an integer, true
     * unless it is 0. */
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

    /* The same; an entry of another type throws an Error without message and position. */
    int getInt() const;
    double getDouble() const;
    float getFloat() const;
    std::string getString() const;
    bool getBool() const;

    /* Fills a container (a std::list, or another with push_back) with all items of a list, read as
     * values of type T. False if this is no list, or has no items, or has one of another type; the
     * container then holds those before it. */
    template<class T, class Container>
    bool getList(Container& items) const;

    /* Replace the value, whatever its type was, a list included. False for blocks, at the end, and
     * if memory runs out. A bool is stored as 1 or 0, a float as a real. The overloads for literal
     * text, where a null one is refused, keep it from being taken for a bool. */
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

    /* Integers of other types: false if the value does not fit an int. */
    template<qz::config::WideInteger Integer>
    bool set(Integer value) {
        return qz::config::fitsInt(value) && setInt(static_cast<int>(value));
    }

    /* Insert before this position and return the new entry's. With a name: a block, empty at first,
     * or an assignment, into the top level or a block. Without: an item, into a list. In the wrong
     * place, or if memory runs out, nothing is inserted and the result is the end. */
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

    /* Removes the entry with everything in it and returns the position of the next one. That never
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
    qz::config::Entry* list_ = nullptr;  /* the block or list around; the root for the top level */
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

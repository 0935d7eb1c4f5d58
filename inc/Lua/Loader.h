/* Reading structured data from Lua files, with every mistake in them named. C++ only, for programs
 * built by the library's compiler.
 *
 * A loader treats a data file as a schema that must hold: a required entry that is missing or has
 * the wrong type ends in a LoaderException that names it by its full path.
 *
 *     Lua::Loader loader;
 *     loader.load("data/units.lua", "units");
 *     loader.beginSubtable("tank");
 *     const double speed = loader.getDouble("speed");   // "units.tank.speed is missing"
 *     loader.endSubtable();
 *
 * The current table is the value on top of the Lua state's stack; entering a table pushes it,
 * leaving pops it. Beside the stack the loader keeps the path, the names of what was entered: keys,
 * array indices, "METATABLE". Stack shapes are written from bottom to top, T for the current table.
 *
 * Messages name an entry by the path's components and the key, joined by ".". A loader over a stack
 * that the host has prepared knows no path until something is entered; until then that text is
 * empty, without the key too, and messages begin with the blank that follows it.
 *
 * After any exception stack and path are as before the call, and the caller may go on. Lua errors
 * (a metatable's __index that raises, lack of memory) become LoaderExceptions whose message ends in
 * Lua's; they never pass through a loader, except when memory runs out for the stack itself.
 *
 * Loaders may be used inside a lua_CFunction, but the exceptions must be caught there: Lua cannot
 * let them through.
 *
 * Threads: those of the state, one at a time.
 */
#ifndef QZCORE_LUA_LOADER_H
#define QZCORE_LUA_LOADER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "Lua/Key.h"
#include "Math/Rotation3.h"
#include "Math/Vector.h"

#include <stdexcept>
#include <string>
#include <vector>

struct lua_State;

namespace Lua {

/* what() is the message. */
class QZ_API LoaderException : public std::runtime_error {
public:
    explicit LoaderException(const std::string& message) : LoaderException(message, message) {}
    LoaderException(const std::string& message, const std::string& full)
        : std::runtime_error(message), full_(full) {}

    /* The message with the file in front that the loader has loaded last, if any:
     * "data/units.lua: units.tank.speed is missing". It names the entry where no path is known,
     * too. Messages of Lua's about the file itself stay as they are: they name it. */
    const char* getFullMessage() const noexcept { return full_.what(); }

private:
    std::runtime_error full_; // for its text, which copies do not allocate
};

/* Keys are integers, const char* or std::string; see Lua::Key. */
class QZ_API Loader {
public:
    /* Without a state: reading gives 0, 0.0, false, an empty text, a zero vector or the identity;
     * walking and writing throw "No Lua state". load(file, table) and createGlobalTable open one.
     */
    Loader() = default;

    /* Over a state of the caller's, which outlives the loader. Null is the same as none. */
    explicit Loader(lua_State* state) : state_(state) {}

    Loader(const Loader&) = delete;
    Loader& operator=(const Loader&) = delete;

    /* Closes the state if the loader opened it. */
    virtual ~Loader();

    lua_State* getLuaState() const { return state_; }

    /* The last file loaded, as it was given; empty before. */
    const std::string& getFile() const { return file_; }

    /* Where the last file loaded lies, with the separator at the end; "./" for a bare file name. */
    const std::string& getRootDir() const { return rootDir_; }

    /* Runs a file of the VFS (VFS/File.h), then enters the global table of that name, like
     * load(table).
     *
     * Opens a state named after the file, with all libraries, if there is none. Appends ";", the
     * file's directory and "?.lua;" to package.path (each time), so that modules beside the file
     * are found. Throws with Lua's text if the file does not load or run. */
    void load(const std::string& file, const std::string& table);

    /* The same with a mounted file (VFS/Archive.h). package.path stays as it is: require does not
     * look into what is mounted. */
    void loadMounted(const std::string& file, const std::string& table);

    /* -> T. The path starts anew with the table's name. What earlier calls left on the stack stays
     * there. Throws "No " + table + " table in config file" if there is no such global table, or
     * "%s: %s" with its name and Lua's text if reading the global fails. */
    void load(const std::string& table);

    /* -> T. Stores a new empty table under a global name and enters it, like load(table). Opens a
     * state named "Lua::Loader::createGlobalTable" if there is none. */
    void createGlobalTable(const std::string& name);

    /* An entry of the current table. Throw "%s is missing" or "%s is not a %s" with the path and
     * the type's name. For strings that name is empty, and the message ends in "not a ".
     *
     * Numbers are no strings here and texts no numbers. getBoolean takes a number as well: all but
     * 0 are true.
     *
     * getInt: throws "%s is not an integer (%s)" if cutting the fraction off changes the number by
     * more than 1e-8 (3.000000001 is 3, but 2.999999999 is none), or if an int cannot hold it. */
    int getInt(Key key) const;
    double getDouble(Key key) const;
    bool getBoolean(Key key) const;
    std::string getString(Key key) const;

    /* The same for a number that has to lie in a range, its ends included: throw "%s is %s, not
     * from %s to %s", and of a not-a-number, too. */
    int getInt(Key key, int least, int most) const;
    double getDouble(Key key, double least, double most) const;

    /* For what only the caller knows to be wrong: throws a LoaderException of this text behind the
     * entry's path, as those above. reject("route", "is empty") ends in "units.tank.route is
     * empty". */
    [[noreturn]] void reject(Key key, const std::string& what) const;

    /* Tables of three and four numbers: x, y, z and x, y, z, w, at 1, 2, ... */
    Math::Vector<3, double> getVector(Key key);
    Math::Rotation3<double> getQuaternion(Key key);

    /* Whether there is a value other than nil. Never throws: an entry that cannot be read is none.
     */
    bool hasEntry(Key key) const;

    /* Store into the current table, over whatever was there. */
    void setInt(Key key, int value);
    void setDouble(Key key, double value);
    void setBoolean(Key key, bool value);
    void setString(Key key, const std::string& value);
    void setVector(Key key, const Math::Vector<3, double>& value);
    void setQuaternion(Key key, const Math::Rotation3<double>& value);

    /* Enter a subtable: T -> T, subtable. createSubtable makes it first if there is none. Throw
     * like getDouble. */
    void beginSubtable(Key key);
    void createSubtable(Key key);

    /* T, subtable -> T. Does nothing while the path is empty. */
    void endSubtable();

    /* Walk an array from 1 to the first nil, whatever follows that:
     *
     *     for (loader.beginArray("crew"); loader.nextArray();) { ... }
     *     loader.endSubtable();
     *
     * beginArray(): T -> T, 0, nil; path + "0". nextArray: T, i, element -> T, i + 1, next element
     * and true, its index last in the path; at the end -> T and false, and the path without it.
     * beginArray(key) enters the table first; it remains to be left. The elements need not be
     * tables: what is read from others is missing. A loop that is left early takes endSubtable and
     * lua_pop for the index. */
    void beginArray(Key key);
    void beginArray();
    bool nextArray();

    /* Walk all subtables, in the order of lua_next:
     *
     *     std::string name;
     *     for (loader.beginSubtables(); loader.nextSubtable(name);) { ... }
     *
     * beginSubtables: T -> T, nil, nil; path + "". nextSubtable: T, key, subtable -> T, next key,
     * next subtable and true, its name last in the path; at the end -> T and false, and the path
     * without it. Throws "Not a string key in table: %s" or "Not a subtable element in table %s"
     * with T's path. It stays at the subtable before the bad entry; a loop that is left early takes
     * endSubtable and lua_pop for the key. */
    void beginSubtables();
    bool nextSubtable(std::string& name);

    /* Enter the current table's metatable, and give it a new empty one: T -> T, metatable; left
     * with endSubtable. Throw "No metatable at %s" if there is none, or the current value is no
     * table. */
    void beginMetatable();
    void newMetatable();

    /* From here on, so after `load`, the loader remembers which entries the functions above are
     * asked for, by hasEntry too; what getUnread names then is misspelt or out of use. It begins
     * anew with each call, and keeps the tables that were read alive. */
    void trackReads();

    /* The entries of the current table that nobody has asked this loader for, by their full paths,
     * sorted; below those that somebody has asked for, theirs. So call it where all has been read:
     *
     *     for (const std::string& entry : loader.getUnread()) { ... } // units.tank.sped
     *
     * Storing does not count as asking: what set... has stored and nobody has read is named, too.
     * Nor do reads by Lua code and through lua_State count. Entries are looked at as they are,
     * without metatables, a table that occurs twice once only, and 32 levels deep. A key that is
     * neither text nor number is named by its type in brackets. Empty without trackReads. */
    std::vector<std::string> getUnread() const;

    /* The path's components from this one on (the first is 0), joined by "."; empty if there are no
     * such components. */
    std::string getCurrentPath(int from = 0) const;

private:
    QZ_LOCAL void requireState(const char* name);
    QZ_LOCAL void beginLoading(const std::string& file);
    QZ_LOCAL void finishLoading(int status, const std::string& table);
    QZ_LOCAL void reserve() const;
    [[noreturn]] QZ_LOCAL void fail(const std::string& message, const std::string& full) const;
    [[noreturn]] void fail(const std::string& message) const { fail(message, message); }
    QZ_LOCAL void appendPackagePath() const;
    QZ_LOCAL std::string pathText(const Key& key) const;
    QZ_LOCAL std::string iteratedPath() const;
    QZ_LOCAL void check(int status, const Key& key) const;
    QZ_LOCAL void checkEntry(const Key& key, int type) const;
    QZ_LOCAL void requireRange(const Key& key, double number, double least, double most) const;
    [[noreturn]] QZ_LOCAL void failWithLuaError(const std::string& where) const;
    [[noreturn]] QZ_LOCAL void failEntry(const Key& key, const std::string& what) const;
    [[noreturn]] QZ_LOCAL void failLookup(const Key& key, const std::string& what) const;
    [[noreturn]] QZ_LOCAL void failStep(const char* what) const;
    QZ_LOCAL void pushEntry(const Key& key, int type) const;
    QZ_LOCAL void enter(const Key& name, int values);
    QZ_LOCAL void readNumbers(const Key& key, double* values, int count);
    QZ_LOCAL void beginIteration(const char* component, void (*pushStart)(lua_State*));
    QZ_LOCAL bool isIterating() const;
    QZ_LOCAL bool endIteration();
    bool isTracking() const { return reads_ != 0; }
    QZ_LOCAL int noteRead(int table, const Key& key) const;
    QZ_LOCAL void forgetReads() const;

    std::string rootDir_;
    std::string file_;
    lua_State* state_ = nullptr;
    bool ownsState_ = false;
    int reads_ = 0; // reference to what was read, in the state's registry; 0 if that is not tracked
    std::vector<std::string> path_;
};

} // namespace Lua

#endif
